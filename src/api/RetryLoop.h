#pragma once

#include <boost/asio/awaitable.hpp>

#include "api/HTTPClient.h"
#include "async/Background.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "foundation/CorvaneLogger.h"

namespace corvane {

/// Sends one request until an answer is final.
///
/// Tried again, up to `maxAttempts` tries in all and never fewer than one: transport failures, 429, and 500
/// to 599. Nothing else is, and nothing is kept from one call to the next. Every try sends the same bytes,
/// its idempotency key included, so a try whose answer was lost is not counted twice.
///
/// Cancellation is seen between two tries: a task that was asked to stop never sends again, whatever the
/// delay, and fails with `CorvaneCancellationError`; what had caused the retry is dropped. During a try it
/// aborts the exchange, which is a transport failure. When the process exits, a wait ends at once and the
/// last outcome is final.
struct RetryLoop {
  HTTPClient& http;
  Background& background;
  CorvaneLogger logger;
  CorvaneRetryPolicy policy;

  /// The final response. Throws `CorvaneError::transport` or `CorvaneCancellationError`, and passes on
  /// unchanged whatever else the transport throws.
  boost::asio::awaitable<HTTPResponse> send(URLRequest request) const;

 private:
  struct Attempt;

  boost::asio::awaitable<Attempt> attempt(const URLRequest& request) const;
  double delayAfter(const Attempt& tried, std::int64_t number) const;
  void logRetry(const Attempt& tried, const URLRequest& request, std::int64_t number, double delay) const;
  boost::asio::awaitable<bool> waitBeforeRetry(double delay) const;
};

}  // namespace corvane
