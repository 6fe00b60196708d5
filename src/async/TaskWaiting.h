#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "async/MainThread.h"

namespace corvane {

/// The part of a task that does not depend on its result: whether it is complete, and who waits for that.
///
/// Usable from any thread. The lock guards the fields below it and is held for copies and swaps only;
/// continuations, cancellers and everything that these own run and die outside it.
class TaskWaiting {
 public:
  using Clock = std::chrono::steady_clock;

  explicit TaskWaiting(MainThread main) : main_(std::move(main)) {}

  bool isDone() const;

  /// Waits until the task is complete or `deadline` has come, and returns whether it is complete. On the main
  /// thread the library's own queue is run meanwhile; with any other executor, and on the background
  /// thread, that throws `std::logic_error`.
  bool waitUntil(Clock::time_point deadline);

  /// Calls `continuation` once: on the completing thread, or at once when the task is complete. It must not
  /// throw or block.
  void onCompletion(std::function<void()> continuation);

  /// Calls `continuation` once, after completion: on the main thread with true, or where the main executor
  /// refuses with false.
  void continueOnMain(std::function<void(bool delivered)> continuation);

  /// Names what `cancel` calls until the task is complete.
  void setCanceller(std::function<void()> canceller);
  void cancel();

 protected:
  ~TaskWaiting() = default;

  /// Runs `publish` under the lock and completes the task; nothing when it is complete already.
  void complete(const std::function<void()>& publish);

 private:
  void wakeMainOnCompletion();

  const MainThread main_;
  mutable std::mutex mutex_;
  std::condition_variable completed_;
  bool done_ = false;
  bool wakesMain_ = false;
  std::vector<std::function<void()>> continuations_;
  std::function<void()> canceller_;
};

}  // namespace corvane
