#pragma once

#include <optional>

#include "foundation/RunningClock.h"

namespace corvane::platform {

/// The time that is left for an exchange. It is spent only while it runs. A value; stopped at first.
class ExchangeTime {
 public:
  using TimePoint = RunningClock::TimePoint;

  ExchangeTime() = default;
  explicit ExchangeTime(RunningClock::Duration whole) : left_(whole) {}

  bool runs() const { return end_.has_value(); }
  void run(TimePoint now) {
    if (!end_) end_ = now + left_;
  }
  void stop(TimePoint now) {
    left_ = left(now);
    end_.reset();
  }
  RunningClock::Duration left(TimePoint now) const { return end_ ? *end_ - now : left_; }

 private:
  RunningClock::Duration left_{};
  std::optional<TimePoint> end_;
};

}  // namespace corvane::platform
