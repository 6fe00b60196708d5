#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>
#include <memory>
#include <utility>

#include "async/Background.h"
#include "corvane/CorvaneExecutor.h"

namespace corvane {

/// The host's main thread, reached through the host's executor. A value; usable from any thread.
///
/// Holds the executor weakly: functions that wait in an executor hold the client's state, and a strong
/// reference back would be a cycle. The client and the platform record own the executor.
class MainThread {
 public:
  explicit MainThread(std::weak_ptr<CorvaneExecutor> executor) : executor_(std::move(executor)) {}

  /// Runs `run` later on the main thread, never inside this call. Runs `refused` instead, on any thread and
  /// perhaps inside this call, when the executor is gone, throws, or destroys the function without running
  /// it. Exactly one of the two runs, once.
  void post(std::function<void()> run, std::function<void()> refused = {}) const;

  /// Runs `run` on the main thread and suspends the calling task until it has returned, thrown or been
  /// refused. What it throws leaves through the executor.
  boost::asio::awaitable<void> call(Background& background, std::function<void()> run) const;

  /// The executor, or nullptr when it no longer exists.
  std::shared_ptr<CorvaneExecutor> executor() const { return executor_.lock(); }

  /// Resumes the tasks whose `call` is running a function on this thread now, as if those functions had
  /// returned. Called before host code waits on the main thread, perhaps for one of those tasks.
  static void releaseCallers();

 private:
  std::weak_ptr<CorvaneExecutor> executor_;
};

}  // namespace corvane
