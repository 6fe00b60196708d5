#pragma once

#include <boost/asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "flows/ClientParts.h"
#include "flows/LinkURL.h"

namespace corvane {

/// Turns a tracking link that opened the running application into a resolved link: recorded by the backend,
/// only resolved where consent is missing, or taken from the URL alone where the backend fails. Each call is
/// independent, also for the same link.
///
/// The public forms are called from any thread; they read the URL and return. Everything else runs on the
/// background executor. The plain form's work holds this object, and with it the client, weakly until it runs
/// and strongly while it does.
class DeepLinkHandling : public std::enable_shared_from_this<DeepLinkHandling> {
 public:
  struct Collaborators : ClientParts {
    std::vector<std::string> linkDomains;
  };

  explicit DeepLinkHandling(Collaborators collaborators) : parts_(std::move(collaborators)) {}

  bool handleDeepLink(std::string_view url);
  CorvaneTask<CorvaneDeepLink> handleDeepLinkAsync(std::string_view url);

 private:
  using Weak = std::weak_ptr<DeepLinkHandling>;

  /// Runs `handle` and reports its failure.
  static boost::asio::awaitable<void> runDetached(Weak weak, ParsedLink parsed);
  boost::asio::awaitable<CorvaneDeepLink> handle(ParsedLink parsed);
  boost::asio::awaitable<CorvaneDeepLink> resolve(const ParsedLink& parsed) const;
  boost::asio::awaitable<CorvaneDeepLink> record(const ParsedLink& parsed) const;
  OpenRequest makeRequest(const ParsedLink& parsed) const;

  const Collaborators parts_;
};

}  // namespace corvane
