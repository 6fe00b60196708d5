#pragma once

#include <boost/asio/awaitable.hpp>
#include <deque>
#include <functional>
#include <utility>

#include "api/HTTPClient.h"

namespace corvane {

/// The exchanges that somebody waits for: installs, opens and resolves. Up to four of them run at once,
/// whatever the number of events; the others wait for a place in their order. Shared by all clients of the
/// process; used on the background thread.
class InteractiveExchanges {
 public:
  static constexpr int maxExchanges = 4;

  /// `responded` is called for each response.
  explicit InteractiveExchanges(std::function<void()> responded) : responded_(std::move(responded)) {}

  /// Performs the exchange when it has a place. A cancellation that comes before that takes effect then.
  /// Throws as `HTTPClient::send` does.
  boost::asio::awaitable<HTTPResponse> send(HTTPClient& http, URLRequest request);

 private:
  class Place;

  boost::asio::awaitable<void> awaitPlace();
  void leave();

  const std::function<void()> responded_;
  int inProgress_ = 0;
  std::deque<std::function<void()>> waiting_;
};

}  // namespace corvane
