#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <future>
#include <list>
#include <mutex>
#include <set>
#include <thread>

#include "async/Background.h"

namespace corvane {

/// The process's background executor: one thread with all signals blocked, which sleeps while there is
/// nothing to do.
///
/// The process's instance is never destroyed, because a thread that did not end in time may still use it.
class BackgroundExecutor final : public Background {
 public:
  BackgroundExecutor();
  ~BackgroundExecutor() override;

  boost::asio::any_io_executor executor() const override;
  bool post(std::function<void()> function) override;
  bool isExiting() const override { return exiting_; }
  boost::asio::awaitable<WaitEnd> wait(std::chrono::nanoseconds duration) override;
  boost::asio::awaitable<void> suspend(std::function<void(std::function<void()>)> start) override;

  /// Ends every wait as `exiting` and every suspension, runs all functions that are ready or become ready,
  /// and joins the thread. The thread is detached instead when it finishes no function within `stallTimeout`,
  /// because host code blocks it, or is not done after `timeout`. Later posts are refused. Call at most once,
  /// not on the background thread.
  void shutDown(std::chrono::milliseconds stallTimeout, std::chrono::milliseconds timeout);

 private:
  void run();
  void endWaits();
  void runReady();

  mutable boost::asio::io_context context_{1};
  std::promise<void> ended_;
  /// How many functions have run since the shutdown began.
  std::atomic<std::uint64_t> functionsRun_ = 0;
  /// These three are used on the background thread only.
  std::set<boost::asio::steady_timer*> waits_;
  std::list<std::function<void()>> suspended_;
  bool exiting_ = false;

  std::mutex mutex_;
  /// Guarded by `mutex_`. Posts are refused once it is set.
  bool closed_ = false;

  std::thread thread_;
};

}  // namespace corvane
