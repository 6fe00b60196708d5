#pragma once

#include <cstdint>

/// How often one request is tried and how long the library waits in between.
///
/// Tried again are transport failures, status 429 and statuses 500 to 599. The wait after the n-th try is
/// `baseDelay` × 2^(n−1), or what a numeric `Retry-After` asks for after a 429 or 5xx, and never more than
/// `maxDelay`.
struct CorvaneRetryPolicy {
  /// The total number of tries, the first included. There is always at least one.
  std::int64_t maxAttempts;
  /// Seconds.
  double baseDelay;
  /// Seconds.
  double maxDelay;

  /// Raises `maxAttempts` to at least 1 and takes the delays as they are. A field that is assigned later
  /// keeps the value assigned.
  constexpr CorvaneRetryPolicy(std::int64_t maxAttempts_, double baseDelay_, double maxDelay_) noexcept
      : maxAttempts(maxAttempts_ < 1 ? 1 : maxAttempts_), baseDelay(baseDelay_), maxDelay(maxDelay_) {}

  friend bool operator==(const CorvaneRetryPolicy&, const CorvaneRetryPolicy&) = default;

  /// 3 tries, 0.5 s, at most 8 s.
  static const CorvaneRetryPolicy default_;
  /// 1 try: the first answer or failure is final.
  static const CorvaneRetryPolicy disabled;
};

inline constexpr CorvaneRetryPolicy CorvaneRetryPolicy::default_{3, 0.5, 8.0};
inline constexpr CorvaneRetryPolicy CorvaneRetryPolicy::disabled{1, 0.0, 8.0};
