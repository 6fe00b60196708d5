#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "async/MainThread.h"

namespace corvane {

/// The part of a task that does not depend on the type of its result: completion, waiting and cancelling.
///
/// Usable from any thread. The lock guards the fields below it and is held for copies and swaps only.
/// Continuations and cancellers run, and are destroyed with all that they own, without the lock.
class TaskWaiting {
 public:
  using Clock = std::chrono::steady_clock;

  explicit TaskWaiting(MainThread main) : main_(std::move(main)) {}

  bool isDone() const;

  /// Waits until the task is complete or `deadline` has passed, and returns whether it is complete. On the
  /// main thread, an executor that supports `runUntil` runs its functions meanwhile; another executor throws
  /// `std::logic_error`. The background thread throws it too, unless the task is complete.
  bool waitUntil(Clock::time_point deadline);

  /// Calls `continuation` once: on the thread that completes the task, or inside this call when the task is
  /// complete. It must not throw or block.
  void onCompletion(std::function<void()> continuation);

  /// Calls `continuation` once, after completion: on the main thread with true, or with false when the main
  /// executor refuses it.
  void continueOnMain(std::function<void(bool delivered)> continuation);

  /// Sets the function that `cancel` calls until the task is complete.
  void setCanceller(std::function<void()> canceller);
  void cancel();

 protected:
  ~TaskWaiting() = default;

  /// Runs `publish` under the lock and completes the task. Without effect when it is complete already.
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
