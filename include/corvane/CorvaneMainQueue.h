#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "corvane/CorvaneExecutor.h"
#include "corvane/CorvaneExport.h"

/// A main executor for hosts without one: a queue that the host runs, or pumps from a loop of its own.
///
/// The queue belongs to one thread: the first that calls `Corvane::configure` with it, until another calls
/// `run()` or `poll()`. Every operation but `run` and `poll` may be called from any thread.
class CORVANE_API CorvaneMainQueue final : public CorvaneExecutor {
 public:
  CorvaneMainQueue();
  /// Functions that still wait are destroyed without being run, on the destroying thread.
  ~CorvaneMainQueue() override;
  CorvaneMainQueue(const CorvaneMainQueue&) = delete;
  CorvaneMainQueue& operator=(const CorvaneMainQueue&) = delete;

  /// The queue that is the main executor where `CorvanePlatform` names none. Lives as long as the process.
  static const std::shared_ptr<CorvaneMainQueue>& main();

  void post(std::function<void()> function) override;
  bool isCurrentThread() const override;
  /// Makes the calling thread the queue's own, unless the queue belongs to a thread already.
  void adoptCurrentThread() override;
  bool runUntil(const std::function<bool()>& isDone, std::chrono::steady_clock::time_point deadline) override;

  /// Runs functions as they come until `stop()`, sleeping in between. An exception of a function leaves
  /// through `run`; the queue keeps the rest, and `run` may be called again.
  void run();

  /// Runs the functions that wait now and returns how many; never waits. Functions posted meanwhile are left
  /// to the next call. An exception of a function leaves through `poll`; the queue keeps the rest.
  std::size_t poll();

  /// Makes `run()` return after the function in progress: the one that runs now, or the next one to be
  /// called.
  void stop();

  /// Names a function that is called whenever a function is posted, on the posting thread: a foreign loop
  /// uses it to schedule a `poll()` on its thread. It must be quick, must not throw and must not call `poll`
  /// itself. Called at once where functions wait already. An empty function removes it; a call that another
  /// thread had begun may still be under way then.
  void onWakeUp(std::function<void()> hook);

 private:
  struct State;
  std::unique_ptr<State> state_;
};
