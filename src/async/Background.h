#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <functional>

namespace corvane {

/// How a wait ended.
enum class WaitEnd { elapsed, cancelled, exiting };

/// Where background work runs, and how it waits. One thread runs one function at a time, in the order of the
/// posts. A task gives up the thread only where it suspends.
class Background {
 public:
  virtual ~Background() = default;

  virtual boost::asio::any_io_executor executor() const = 0;

  /// The steady clock, by which `wait` measures.
  virtual std::chrono::steady_clock::time_point now() const { return std::chrono::steady_clock::now(); }

  /// Runs `function` later on the background thread, never inside this call. Any thread; the caller holds no
  /// lock. Returns false after the shutdown at the end of the process: `function` is destroyed without a run.
  virtual bool post(std::function<void()> function) = 0;

  /// Whether the process exits: waits end at once. On the background thread.
  virtual bool isExiting() const = 0;

  /// Suspends the calling task for `duration`; returns at once when that is zero or less. Ends early when the
  /// task is cancelled, also when it was cancelled before, and when the process exits.
  virtual boost::asio::awaitable<WaitEnd> wait(std::chrono::nanoseconds duration) = 0;

  /// Calls `start` and suspends the calling task until `resume` is called, or until the process exits. Any
  /// thread may call `resume`, also inside `start`; a late or second call has no effect. While the process
  /// exits, `start` is not called and the task continues at once.
  virtual boost::asio::awaitable<void> suspend(std::function<void(std::function<void()> resume)> start) = 0;
};

}  // namespace corvane
