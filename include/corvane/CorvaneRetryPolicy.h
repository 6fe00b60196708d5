#pragma once

#include <cstdint>

/// How many attempts a request gets, and the delay between them.
///
/// Transport failures, status 429 and statuses 500 to 599 are retried. The delay after the n-th attempt is
/// `baseDelay` × 2^(n−1). After a 429 or 5xx with a numeric `Retry-After` header (RFC 9110) it is that number
/// of seconds. The delay never exceeds `maxDelay`.
struct CorvaneRetryPolicy {
  /// The total number of attempts, including the first. At least one attempt is made.
  std::int64_t maxAttempts;
  /// The delay after the first attempt in seconds.
  double baseDelay;
  /// The longest delay in seconds.
  double maxDelay;

  /// Raises `maxAttempts` to at least 1. Does not change the delays. A field that is assigned later keeps the
  /// assigned value.
  constexpr CorvaneRetryPolicy(std::int64_t attempts, double firstDelay, double longestDelay) noexcept
      : maxAttempts(attempts < 1 ? 1 : attempts), baseDelay(firstDelay), maxDelay(longestDelay) {}

  friend bool operator==(const CorvaneRetryPolicy&, const CorvaneRetryPolicy&) = default;

  /// 3 attempts, a first delay of 0.5 s, and at most 8 s.
  static const CorvaneRetryPolicy default_;
  /// 1 attempt: the first response or failure is final.
  static const CorvaneRetryPolicy disabled;
};

inline constexpr CorvaneRetryPolicy CorvaneRetryPolicy::default_{3, 0.5, 8.0};
inline constexpr CorvaneRetryPolicy CorvaneRetryPolicy::disabled{1, 0.0, 8.0};
