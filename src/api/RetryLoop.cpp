#include "api/RetryLoop.h"

#include <utility>

#include "api/Attempt.h"
#include "api/Backoff.h"
#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"

namespace corvane {

namespace asio = boost::asio;

namespace {

HTTPResponse resultOf(Attempt tried) {
  if (const auto* error = std::get_if<CorvaneError>(&tried.outcome)) throw *error;
  if (tried.response() == nullptr) throw CorvaneCancellationError();
  return std::get<HTTPResponse>(std::move(tried.outcome));
}

}  // namespace

asio::awaitable<HTTPResponse> RetryLoop::send(URLRequest request) const {
  for (std::int64_t number = 1;; ++number) {
    asio::awaitable<HTTPResponse> exchange = exchanges.send(http, request);
    Attempt tried = co_await makeAttempt(std::move(exchange));
    if (number >= policy.maxAttempts || !tried.mayBeRetried()) co_return resultOf(std::move(tried));
    const double delay = delayAfter(tried, number, policy);
    logRetry(logger, tried, request.url, number, delay);
    const bool retry = co_await waitBeforeRetry(delay);
    if (!retry) co_return resultOf(std::move(tried));
  }
}

/// Waits, and returns whether to make another attempt: not when the process exits.
asio::awaitable<bool> RetryLoop::waitBeforeRetry(double delay) const {
  const WaitEnd end = co_await background.wait(waitDuration(delay));
  if (end == WaitEnd::cancelled) throw CorvaneCancellationError();
  co_return end == WaitEnd::elapsed;
}

}  // namespace corvane
