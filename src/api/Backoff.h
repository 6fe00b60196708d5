#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "corvane/CorvaneRetryPolicy.h"

/// The retry loop's decisions as pure functions: whether to retry, and after how long. Delays are in seconds;
/// equal inputs give equal delays (there is no jitter).
namespace corvane {

/// 429 and 500 to 599.
bool isRetryable(int statusCode);

/// `baseDelay` × 2^(attempt−1), not yet capped.
double exponentialDelay(const CorvaneRetryPolicy& policy, std::int64_t attempt);

/// The smaller of the two; a delay that is not a number stays one.
double capped(double delay, double maxDelay);

/// The seconds of a `Retry-After` whose whole text is a floating-point number as strtod reads it in the POSIX
/// locale (2, 2.5, 1e1, also hexadecimal, inf and nan). Blanks around it, a unit, or an HTTP date are none.
std::optional<double> parseRetryAfter(const std::string& text);

/// The delay as a duration of whole nanoseconds: zero for a delay that is zero, negative or not a number; the
/// longest that the clock can still add to now where the delay is longer.
std::chrono::nanoseconds waitDuration(double delay);

/// The delay with exactly two decimals, as "%.2f" writes it in the POSIX locale.
std::string twoDecimals(double delay);

}  // namespace corvane
