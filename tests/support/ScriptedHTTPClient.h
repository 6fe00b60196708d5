#pragma once

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "api/HTTPClient.h"
#include "async/Suspend.h"
#include "corvane/CorvaneError.h"

namespace corvane::test {

/// A transport with scripted outcomes, in order, that keeps the requests. An exchange without an outcome yet
/// waits until `respond` is called or its task is cancelled. Used on one thread.
class ScriptedHTTPClient : public HTTPClient {
 public:
  using Outcome = std::variant<HTTPResponse, CorvaneError>;

  boost::asio::awaitable<HTTPResponse> send(URLRequest request) override {
    const bool cancelled = co_await isCancelled();
    if (cancelled) throw CorvaneError::transport("cancelled");
    sent.push_back(std::move(request));
    if (script_.empty()) co_await awaitOutcome();
    if (script_.empty()) throw CorvaneError::transport("cancelled");
    Outcome next = std::move(script_.front());
    script_.pop_front();
    if (const auto* error = std::get_if<CorvaneError>(&next)) throw *error;
    co_return std::get<HTTPResponse>(std::move(next));
  }

  void respond(Outcome next) {
    script_.push_back(std::move(next));
    if (!waiting_.empty()) waiting_.front()->cancel();
  }

  void respond(int statusCode, std::string body, std::map<std::string, std::string> headers = {}) {
    respond(HTTPResponse{.statusCode = statusCode, .body = std::move(body), .headers = std::move(headers)});
  }

  bool isWaiting() const { return !waiting_.empty(); }

  std::vector<URLRequest> sent;

 private:
  /// Waits on a timer that never expires: `respond` cancels it, and so does the cancellation of the task.
  boost::asio::awaitable<void> awaitOutcome() {
    const auto executor = co_await boost::asio::this_coro::executor;
    boost::asio::steady_timer timer(executor, boost::asio::steady_timer::time_point::max());
    waiting_.push_back(&timer);
    co_await timer.async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
    std::erase(waiting_, &timer);
  }

  std::deque<Outcome> script_;
  std::deque<boost::asio::steady_timer*> waiting_;
};

}  // namespace corvane::test
