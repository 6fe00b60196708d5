#pragma once

#include <boost/asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "api/HTTPClient.h"
#include "async/Background.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/text/URL.h"
#include "model/Requests.h"
#include "model/Responses.h"

namespace corvane {

/// The client of the backend's four endpoints: builds the requests and reads the responses. A plain value;
/// copies share the transport.
///
/// Every operation runs on the background executor and throws a `CorvaneError`, or `CorvaneCancellationError`
/// when its task is cancelled between two attempts. Failures are not logged here; the caller logs them.
struct CorvaneAPI {
  /// The backend's origin without a trailing slash; the paths are put behind it.
  std::string baseURL;
  std::shared_ptr<HTTPClient> http;
  std::shared_ptr<Background> background;
  CorvaneLogger logger;
  /// Sent as "X-Api-Key" with the posts when present, also when empty.
  std::optional<std::string> apiKey;
  CorvaneRetryPolicy retryPolicy = CorvaneRetryPolicy::default_;

  /// Resolves a link without recording anything. Carries no key.
  boost::asio::awaitable<DeepLinkDTO> resolveLink(std::optional<std::string> url,
                                                  std::optional<std::string> host,
                                                  std::optional<std::string> slug) const;
  boost::asio::awaitable<EventResultDTO> sendOpen(OpenRequest request,
                                                  std::optional<std::string> idempotencyKey) const;
  boost::asio::awaitable<EventResultDTO> sendInstall(InstallRequest request,
                                                     std::optional<std::string> idempotencyKey) const;
  /// An empty response is success, without an id.
  boost::asio::awaitable<EventAckDTO> sendEvent(EventRequest request,
                                                std::optional<std::string> idempotencyKey) const;

 private:
  template <class Request>
  URLRequest makeRequest(std::string_view path, const Request& body,
                         std::optional<std::string> idempotencyKey) const;
  URLRequest makeGetRequest(std::string_view path, const std::vector<QueryItem>& items) const;
  template <class DTO>
  boost::asio::awaitable<DTO> perform(URLRequest request, DTO (*decode)(std::string_view)) const;
};

}  // namespace corvane
