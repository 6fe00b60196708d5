#pragma once

#include <boost/asio/awaitable.hpp>

#include "api/HTTPClient.h"
#include "api/InteractiveExchanges.h"
#include "async/Background.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "foundation/CorvaneLogger.h"

namespace corvane {

/// Sends one request that somebody waits for until a response is final. Events have a line of their own
/// (`EventLine`), with the same rules.
///
/// Retried, up to `maxAttempts` attempts in all and never fewer than one: transport failures, 429, and 500 to
/// 599. All other responses are final. No state is kept from one call to the next. Every attempt sends the
/// same bytes, the idempotency key included, so that the backend counts an attempt whose response was lost
/// only once.
///
/// Cancellation: between two attempts a cancelled task sends nothing any more, also with a delay of zero, and
/// fails with `CorvaneCancellationError`; the failure that caused the retry is dropped. During an attempt a
/// cancellation aborts the exchange, which is a transport failure. When the process exits, a wait ends at
/// once and the last outcome is final.
struct RetryLoop {
  HTTPClient& http;
  InteractiveExchanges& exchanges;
  Background& background;
  CorvaneLogger logger;
  CorvaneRetryPolicy policy;

  /// The final response. Throws the final failure: `CorvaneError::transport`, `CorvaneCancellationError`, or
  /// unchanged any other `CorvaneError` of the transport.
  boost::asio::awaitable<HTTPResponse> send(URLRequest request) const;

 private:
  boost::asio::awaitable<bool> waitBeforeRetry(double delay) const;
};

}  // namespace corvane
