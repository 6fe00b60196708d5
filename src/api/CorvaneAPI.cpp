#include "api/CorvaneAPI.h"

#include <utility>

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

/// Decodes a final response, or throws the error that it stands for.
template <class DTO>
DTO interpret(HTTPResponse response, DTO (*decode)(std::string_view)) {
  if (response.statusCode == 401) throw CorvaneError::invalidAPIKey();
  if (response.statusCode < 200 || response.statusCode > 299) {
    std::optional<std::string> body;
    if (isValidUTF8(response.body)) body = std::move(response.body);
    throw CorvaneError::server(response.statusCode, std::move(body));
  }
  if (response.body.empty()) throw CorvaneError::emptyResponse();
  try {
    return decode(response.body);
  } catch (const DecodingFailure& failure) {
    throw CorvaneError::decoding(failure.what());
  }
}

}  // namespace

template <class Request>
URLRequest CorvaneAPI::makeRequest(std::string_view path, const Request& body,
                                   std::optional<std::string> idempotencyKey) const {
  URLRequest request{.url = baseURL + std::string(path), .method = "POST", .headers = {}, .body = {}};
  if (!isURL(request.url)) throw CorvaneError::invalidURL(request.url);
  request.headers.emplace_back("Content-Type", "application/json");
  if (apiKey) request.headers.emplace_back("X-Api-Key", *apiKey);
  if (idempotencyKey) request.headers.emplace_back("Idempotency-Key", *std::move(idempotencyKey));
  request.body = encodeBody(body);
  return request;
}

URLRequest CorvaneAPI::makeGetRequest(std::string_view path, const std::vector<QueryItem>& items) const {
  const std::string text = baseURL + std::string(path);
  auto url = urlWithQuery(text, items);
  if (!url) throw CorvaneError::invalidURL(text);
  return {.url = *std::move(url), .method = "GET", .headers = {}, .body = {}};
}

template <class DTO>
asio::awaitable<DTO> CorvaneAPI::perform(URLRequest request, DTO (*decode)(std::string_view)) const {
  const RetryLoop loop{*http, *background, logger, retryPolicy};
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

asio::awaitable<EventAckDTO> CorvaneAPI::sendEvent(EventRequest body,
                                                   std::optional<std::string> idempotencyKey) const {
  logger.debug([] { return "POST " + std::string(eventPath); });
  URLRequest request = makeRequest(eventPath, body, std::move(idempotencyKey));
  try {
    co_return co_await perform(std::move(request), decodeEventAck);
  } catch (const CorvaneError& error) {
    if (error.case_() != CorvaneError::Case::emptyResponse) throw;
    co_return EventAckDTO{};
  }
}

}  // namespace corvane
