#pragma once

#include <boost/asio/awaitable.hpp>
#include <cstdint>
#include <string>
#include <variant>

#include "api/HTTPResponse.h"
#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "foundation/CorvaneLogger.h"

namespace corvane {

/// How one attempt of a request ended.
struct Attempt {
  using Outcome = std::variant<HTTPResponse, CorvaneError, CorvaneCancellationError>;

  Outcome outcome;

  const HTTPResponse* response() const { return std::get_if<HTTPResponse>(&outcome); }
  /// Transport failures, 429, and 500 to 599.
  bool mayBeRetried() const;
};

/// Performs the exchange and tells how it ended. Does not throw.
boost::asio::awaitable<Attempt> makeAttempt(boost::asio::awaitable<HTTPResponse> exchange);

/// The delay in seconds after attempt `number`, the first being 1: what the server asks for in `Retry-After`,
/// or the policy's exponential delay; at most the policy's longest.
double delayAfter(const Attempt& tried, std::int64_t number, const CorvaneRetryPolicy& policy);

/// Writes the line about a retry of a request to `url`.
void logRetry(const CorvaneLogger& logger, const Attempt& tried, const std::string& url, std::int64_t number,
              double delay);

}  // namespace corvane
