#include "api/Attempt.h"

#include <optional>
#include <string>
#include <utility>

#include "api/Backoff.h"
#include "async/Failure.h"
#include "foundation/text/URL.h"

namespace corvane {

namespace asio = boost::asio;

bool Attempt::mayBeRetried() const {
  if (const HTTPResponse* received = response()) return isRetryable(received->statusCode);
  const auto* error = std::get_if<CorvaneError>(&outcome);
  return error != nullptr && error->case_() == CorvaneError::Case::transport;
}

asio::awaitable<Attempt> makeAttempt(asio::awaitable<HTTPResponse> exchange) {
  std::optional<Failure> failure;
  try {
    HTTPResponse response = co_await std::move(exchange);
    co_return Attempt{std::move(response)};
  } catch (...) {
    failure = currentFailure();
  }
  co_return std::visit([](auto& error) { return Attempt{std::move(error)}; }, *failure);
}

double delayAfter(const Attempt& tried, std::int64_t number, const CorvaneRetryPolicy& policy) {
  double delay = exponentialDelay(policy, number);
  if (const HTTPResponse* response = tried.response()) {
    const auto retryAfter = response->headers.find("retry-after");
    if (retryAfter != response->headers.end()) delay = parseRetryAfter(retryAfter->second).value_or(delay);
  }
  return capped(delay, policy.maxDelay);
}

void logRetry(const CorvaneLogger& logger, const Attempt& tried, const std::string& url, std::int64_t number,
              double delay) {
  logger.debug([&] {
    const std::string attempt = "attempt " + std::to_string(number) + ")";
    const HTTPResponse* response = tried.response();
    if (response == nullptr) return "Transport error, retrying (" + attempt;
    return "Retrying " + urlPath(url) + " after " + twoDecimals(delay) + "s (status " +
           std::to_string(response->statusCode) + ", " + attempt;
  });
}

}  // namespace corvane
