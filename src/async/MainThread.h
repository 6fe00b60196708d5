#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>
#include <memory>
#include <utility>

#include "async/Background.h"
#include "corvane/CorvaneExecutor.h"

namespace corvane {

/// The host's main thread as the library uses it. A value; usable from any thread.
///
/// It holds the executor weakly: functions that wait in an executor hold the client's state, and a strong
/// reference back would keep both alive for ever. The client and the platform record own the executor.
class MainThread {
 public:
  explicit MainThread(std::weak_ptr<CorvaneExecutor> executor) : executor_(std::move(executor)) {}

  /// Runs `run` later on the main thread, never inside this call; or `refused`, on whatever thread it is,
  /// when the executor is gone, throws, or destroys the function without running it. Exactly one of the two,
  /// once.
  void post(std::function<void()> run, std::function<void()> refused = {}) const;

  /// Runs `run` on the main thread and suspends the calling task until it has returned, thrown or been
  /// refused. What it throws leaves through the executor.
  boost::asio::awaitable<void> call(Background& background, std::function<void()> run) const;

  /// Null when it is gone.
  std::shared_ptr<CorvaneExecutor> executor() const { return executor_.lock(); }

  /// Lets the tasks go on that wait for the functions which `call` is running on this thread at this moment:
  /// host code in one of them is about to wait, perhaps for one of those very tasks.
  static void releaseCallers();

 private:
  std::weak_ptr<CorvaneExecutor> executor_;
};

}  // namespace corvane
