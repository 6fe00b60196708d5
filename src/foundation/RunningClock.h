#pragma once

#include <chrono>
#include <functional>
#include <utility>

namespace corvane {

/// A clock for time-outs. Time in which the process did not run (it was stopped, frozen or the device was
/// suspended) does not count, so that no time-out fires for it.
///
/// It advances only when it is read: by the time since the reading before, unless that is more than
/// `longestStep`. So whoever waits for a deadline reads it more often than that, and whoever sets a deadline
/// reads it first.
/// A value; one thread at a time.
class RunningClock {
 public:
  using Source = std::function<std::chrono::steady_clock::time_point()>;
  using Duration = std::chrono::steady_clock::duration;
  using TimePoint = std::chrono::time_point<RunningClock, Duration>;

  static constexpr std::chrono::seconds longestStep{2};

  explicit RunningClock(Source source = std::chrono::steady_clock::now)
      : source_(std::move(source)), latest_(source_()) {}

  TimePoint now() {
    const auto reading = source_();
    if (reading - latest_ <= longestStep) elapsed_ += reading - latest_;
    latest_ = reading;
    return TimePoint(elapsed_);
  }

 private:
  Source source_;
  std::chrono::steady_clock::time_point latest_;
  Duration elapsed_{};
};

}  // namespace corvane
