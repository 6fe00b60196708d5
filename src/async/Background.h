#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <functional>

namespace corvane {

/// How a wait ended.
enum class WaitEnd { elapsed, cancelled, exiting };

/// Where background work runs, and how it waits. One thread: everything that runs here is in order with
/// everything else that does, and yields only where it suspends.
class Background {
 public:
  virtual ~Background() = default;

  virtual boost::asio::any_io_executor executor() const = 0;

  /// Runs `function` later on the background thread, never inside this call. From any thread, under no lock.
  /// False at the very end of the process: the function was destroyed and will not run.
  virtual bool post(std::function<void()> function) = 0;

  /// Suspends the calling task for `duration`; not at all when that is zero. Ends early when the task is
  /// cancelled, also when it already was, and when the process exits.
  virtual boost::asio::awaitable<WaitEnd> wait(std::chrono::nanoseconds duration) = 0;

  /// Suspends the calling task until `resume` is called, from any thread, also inside `start`; or until the
  /// process exits. Then, `start` may not be called at all. Calling `resume` late or again has no effect.
  virtual boost::asio::awaitable<void> suspend(std::function<void(std::function<void()> resume)> start) = 0;
};

}  // namespace corvane
