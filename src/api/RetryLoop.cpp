#include "api/RetryLoop.h"

#include <string>
#include <utility>
#include <variant>

#include "api/Backoff.h"
#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"
#include "foundation/text/URL.h"

namespace corvane {

namespace asio = boost::asio;

/// How one attempt ended.
struct RetryLoop::Attempt {
  std::variant<HTTPResponse, CorvaneError> outcome;

  const HTTPResponse* response() const { return std::get_if<HTTPResponse>(&outcome); }
  bool mayBeRetried() const { return response() == nullptr || isRetryable(response()->statusCode); }

  HTTPResponse result() && {
    if (const auto* error = std::get_if<CorvaneError>(&outcome)) throw *error;
    return std::get<HTTPResponse>(std::move(outcome));
  }
};

asio::awaitable<HTTPResponse> RetryLoop::send(URLRequest request) const {
  for (std::int64_t number = 1;; ++number) {
    Attempt tried = co_await attempt(request);
    if (number >= policy.maxAttempts || !tried.mayBeRetried()) co_return std::move(tried).result();
    const double delay = delayAfter(tried, number);
    logRetry(tried, request, number, delay);
    const bool retry = co_await waitBeforeRetry(delay);
    if (!retry) co_return std::move(tried).result();
  }
}

asio::awaitable<RetryLoop::Attempt> RetryLoop::attempt(const URLRequest& request) const {
  try {
    HTTPResponse response = co_await http.send(request);
    co_return Attempt{std::move(response)};
  } catch (const CorvaneError& error) {
    if (error.case_() != CorvaneError::Case::transport) throw;
    co_return Attempt{error};
  }
}

double RetryLoop::delayAfter(const Attempt& tried, std::int64_t number) const {
  double delay = exponentialDelay(policy, number);
  if (const HTTPResponse* response = tried.response()) {
    const auto retryAfter = response->headers.find("retry-after");
    if (retryAfter != response->headers.end()) delay = parseRetryAfter(retryAfter->second).value_or(delay);
  }
  return capped(delay, policy.maxDelay);
}

void RetryLoop::logRetry(const Attempt& tried, const URLRequest& request, std::int64_t number,
                         double delay) const {
  logger.debug([&] {
    const std::string attempt = "attempt " + std::to_string(number) + ")";
    const HTTPResponse* response = tried.response();
    if (response == nullptr) return "Transport error, retrying (" + attempt;
    return "Retrying " + urlPath(request.url) + " after " + twoDecimals(delay) + "s (status " +
           std::to_string(response->statusCode) + ", " + attempt;
  });
}

/// Waits, and returns whether to make another attempt: not when the process exits.
asio::awaitable<bool> RetryLoop::waitBeforeRetry(double delay) const {
  const WaitEnd end = co_await background.wait(waitDuration(delay));
  if (end == WaitEnd::cancelled) throw CorvaneCancellationError();
  co_return end == WaitEnd::elapsed;
}

}  // namespace corvane
