#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "corvane/CorvaneExecutor.h"
#include "corvane/CorvaneExport.h"

/// The main executor for a host without an event loop, or with a loop that can call `poll`.
///
/// The queue belongs to one thread: the first that calls `Corvane::configure` with it, until another thread
/// calls `run()` or `poll()`. Every other operation may be called from any thread.
class CORVANE_API CorvaneMainQueue final : public CorvaneExecutor {
 public:
  CorvaneMainQueue();
  /// Destroys queued functions without running them, on the calling thread.
  ~CorvaneMainQueue() override;
  CorvaneMainQueue(const CorvaneMainQueue&) = delete;
  CorvaneMainQueue& operator=(const CorvaneMainQueue&) = delete;

  /// Returns the queue that is used when `CorvanePlatform::mainExecutor` is not set. It lives as long as the
  /// process.
  static const std::shared_ptr<CorvaneMainQueue>& main();

  void post(std::function<void()> function) override;
  bool isCurrentThread() const override;
  /// Makes the calling thread the queue's thread, unless the queue belongs to a thread already.
  void adoptCurrentThread() override;
  /// Call it on the queue's thread only; unlike `run` and `poll`, it does not change the owner.
  bool runUntil(const std::function<bool()>& isDone, std::chrono::steady_clock::time_point deadline) override;

  /// Runs functions as they are posted until `stop()` is called; sleeps in between. An exception of a
  /// function leaves through `run`; the other functions stay in the queue, and `run` may be called again.
  void run();

  /// Runs the functions that are queued now and returns their number; never waits. Functions that are posted
  /// during the call are left to the next call. An exception of a function leaves through `poll`; the other
  /// functions stay in the queue.
  std::size_t poll();

  /// Makes `run()` return after the current function. When `run()` is not active, its next call returns at
  /// once.
  void stop();

  /// Sets a function that is called on the posting thread after each `post`, so that another event loop can
  /// schedule a `poll()` on its own thread. It must be quick, must not throw and must not call `poll`. It is
  /// called at once when functions are queued already. An empty function removes it; a call on another thread
  /// may still be active at that time.
  void onWakeUp(std::function<void()> hook);

 private:
  struct State;
  std::unique_ptr<State> state_;
};
