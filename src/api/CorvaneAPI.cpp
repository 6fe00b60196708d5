#include "api/CorvaneAPI.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "api/Backoff.h"
#include "api/RetryLoop.h"
#include "corvane/CorvaneError.h"
#include "foundation/text/Unicode.h"
#include "model/CodecFailure.h"

namespace corvane {

namespace asio = boost::asio;

namespace {

constexpr std::string_view resolvePath = "/v1/links/resolve";
constexpr std::string_view openPath = "/v1/events/open";
constexpr std::string_view installPath = "/v1/events/install";
constexpr std::string_view eventPath = "/v1/events";

template <class Request>
std::string encodeBody(const Request& body) {
  try {
    return encode(body);
  } catch (const EncodingFailure& failure) {
    throw CorvaneError::decoding(std::string("Failed to encode request: ") + failure.what());
  }
}

/// The body where it is UTF-8. A truncated one ends with its last complete character.
std::optional<std::string> textBody(HTTPResponse response) {
  if (response.bodyIsTruncated) removeIncompleteCharacter(response.body);
  return isValidUTF8(response.body) ? std::optional(std::move(response.body)) : std::nullopt;
}

/// Decodes a final response, or throws the error that it stands for.
template <class DTO>
DTO interpret(HTTPResponse response, DTO (*decode)(std::string_view)) {
  if (response.statusCode == 401) throw CorvaneError::invalidAPIKey();
  const int status = response.statusCode;
  if (status < 200 || status > 299) throw CorvaneError::server(status, textBody(std::move(response)));
  if (response.bodyIsTruncated) throw CorvaneError::decoding("the body is too large");
  if (response.body.empty()) throw CorvaneError::emptyResponse();
  try {
    return decode(response.body);
  } catch (const DecodingFailure& failure) {
    throw CorvaneError::decoding(failure.what());
  }
}

EventEnd interpretResponse(HTTPResponse response) {
  try {
    return interpret(std::move(response), decodeEventAck);
  } catch (const CorvaneError& error) {
    if (error.case_() == CorvaneError::Case::emptyResponse) return EventAckDTO{};
    return error;
  }
}

}  // namespace

EventEnd interpretEvent(EventLine::End end) {
  if (auto* response = std::get_if<HTTPResponse>(&end)) return interpretResponse(std::move(*response));
  if (auto* error = std::get_if<CorvaneError>(&end)) return std::move(*error);
  if (std::holds_alternative<EventLine::Dropped>(end)) return EventLine::Dropped();
  return CorvaneCancellationError();
}

template <class Request>
URLRequest CorvaneAPI::makeRequest(std::string_view path, const Request& body,
                                   std::optional<std::string> idempotencyKey) const {
  URLRequest request{.url = baseURL + std::string(path), .method = "POST", .headers = {}, .body = {}};
  if (!isURL(request.url)) throw CorvaneError::invalidURL(request.url);
  request.headers = postHeaders();
  if (idempotencyKey) request.headers.emplace_back("Idempotency-Key", *std::move(idempotencyKey));
  request.body = encodeBody(body);
  return request;
}

std::vector<URLRequest::Header> CorvaneAPI::postHeaders() const {
  std::vector<URLRequest::Header> headers{{"Content-Type", "application/json"}};
  if (apiKey) headers.emplace_back("X-Api-Key", *apiKey);
  return headers;
}

URLRequest CorvaneAPI::makeGetRequest(std::string_view path, const std::vector<QueryItem>& items) const {
  const std::string text = baseURL + std::string(path);
  auto url = urlWithQuery(text, items);
  if (!url) throw CorvaneError::invalidURL(text);
  return {.url = *std::move(url), .method = "GET", .headers = {}, .body = {}};
}

template <class DTO>
asio::awaitable<DTO> CorvaneAPI::perform(URLRequest request, DTO (*decode)(std::string_view)) const {
  const RetryLoop loop{*http, lines->interactive, *background, logger, retryPolicy};
  HTTPResponse response = co_await loop.send(std::move(request));
  co_return interpret(std::move(response), decode);
}

asio::awaitable<DeepLinkDTO> CorvaneAPI::resolveLink(std::optional<std::string> url,
                                                     std::optional<std::string> host,
                                                     std::optional<std::string> slug) const {
  logger.debug([] { return "GET " + std::string(resolvePath); });
  std::vector<QueryItem> items;
  if (url) items.emplace_back("url", *std::move(url));
  if (host) items.emplace_back("host", *std::move(host));
  if (slug) items.emplace_back("slug", *std::move(slug));
  URLRequest request = makeGetRequest(resolvePath, items);
  co_return co_await perform(std::move(request), decodeDeepLink);
}

asio::awaitable<EventResultDTO> CorvaneAPI::sendOpen(OpenRequest body,
                                                     std::optional<std::string> idempotencyKey) const {
  logger.debug([] { return "POST " + std::string(openPath); });
  URLRequest request = makeRequest(openPath, body, std::move(idempotencyKey));
  co_return co_await perform(std::move(request), decodeEventResult);
}

asio::awaitable<EventResultDTO> CorvaneAPI::sendInstall(InstallRequest body,
                                                        std::optional<std::string> idempotencyKey) const {
  logger.debug([] { return "POST " + std::string(installPath); });
  URLRequest request = makeRequest(installPath, body, std::move(idempotencyKey));
  co_return co_await perform(std::move(request), decodeEventResult);
}

std::shared_ptr<const EventRoute> CorvaneAPI::makeEventRoute(const void* queue) const {
  constexpr std::chrono::nanoseconds shortest = std::chrono::milliseconds(1);
  return std::make_shared<const EventRoute>(
      EventRoute{.http = http,
                 .url = baseURL + std::string(eventPath),
                 .headers = postHeaders(),
                 .retryPolicy = retryPolicy,
                 .requestTimeout = std::max(waitDuration(requestTimeout), shortest),
                 .logger = logger,
                 .queue = queue});
}

EventLine::ID CorvaneAPI::sendEvent(std::shared_ptr<const EventRoute> route, const EventRequest& request,
                                    std::string idempotencyKey, EventLine::Kind kind,
                                    EventLine::Done done) const {
  logger.debug([] { return "POST " + std::string(eventPath); });
  if (!isURL(route->url)) throw CorvaneError::invalidURL(route->url);
  OutgoingEvent event{.key = std::move(idempotencyKey), .body = encodeBody(request)};
  return lines->events->add(std::move(route), std::move(event), kind, std::move(done));
}

}  // namespace corvane
