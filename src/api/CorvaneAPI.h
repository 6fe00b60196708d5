#pragma once

#include <boost/asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "api/ExchangeLines.h"
#include "api/HTTPClient.h"
#include "async/Background.h"
#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/text/URL.h"
#include "model/Requests.h"
#include "model/Responses.h"

namespace corvane {

/// How an event ended.
using EventEnd = std::variant<EventAckDTO, CorvaneError, CorvaneCancellationError, EventLine::Dropped>;

/// Decodes the response of an event; an empty one is success, without an id.
EventEnd interpretEvent(EventLine::End end);

/// The client of the backend's four endpoints: builds the requests and reads the responses. A plain value;
/// copies share the transport and the lines.
///
/// Every operation runs on the background executor and throws a `CorvaneError`, or `CorvaneCancellationError`
/// when its task is cancelled between two attempts. Failures are not logged here; the caller logs them.
struct CorvaneAPI {
  /// The backend's origin without a trailing slash; the paths are put behind it.
  std::string baseURL;
  std::shared_ptr<HTTPClient> http;
  std::shared_ptr<ExchangeLines> lines;
  std::shared_ptr<Background> background;
  CorvaneLogger logger;
  /// Sent as "X-Api-Key" with the posts when present, also when empty.
  std::optional<std::string> apiKey;
  CorvaneRetryPolicy retryPolicy = CorvaneRetryPolicy::default_;
  /// Seconds.
  double requestTimeout = 10.0;

  /// Resolves a link without recording anything. Carries no key.
  boost::asio::awaitable<DeepLinkDTO> resolveLink(std::optional<std::string> url,
                                                  std::optional<std::string> host,
                                                  std::optional<std::string> slug) const;
  boost::asio::awaitable<EventResultDTO> sendOpen(OpenRequest request,
                                                  std::optional<std::string> idempotencyKey) const;
  boost::asio::awaitable<EventResultDTO> sendInstall(InstallRequest request,
                                                     std::optional<std::string> idempotencyKey) const;

  /// How events are sent. One route serves all events of a client.
  std::shared_ptr<const EventRoute> makeEventRoute(const void* queue) const;

  /// Encodes the event and puts it in line. `done` is called as `EventLine::add` says. Throws a
  /// `CorvaneError` when the event cannot be encoded or the URL is not valid.
  EventLine::ID sendEvent(std::shared_ptr<const EventRoute> route, const EventRequest& request,
                          std::string idempotencyKey, EventLine::Kind kind, EventLine::Done done) const;

 private:
  template <class Request>
  URLRequest makeRequest(std::string_view path, const Request& body,
                         std::optional<std::string> idempotencyKey) const;
  std::vector<URLRequest::Header> postHeaders() const;
  URLRequest makeGetRequest(std::string_view path, const std::vector<QueryItem>& items) const;
  template <class DTO>
  boost::asio::awaitable<DTO> perform(URLRequest request, DTO (*decode)(std::string_view)) const;
};

}  // namespace corvane
