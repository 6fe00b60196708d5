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

/// The process's background executor: one thread with all signals blocked, asleep while there is nothing to
/// do.
///
/// The one of the process is never destroyed, so that a thread which still works at the end finds it.
class BackgroundExecutor final : public Background {
 public:
  BackgroundExecutor();
  ~BackgroundExecutor() override;

  boost::asio::any_io_executor executor() const override;
  bool post(std::function<void()> function) override;
  boost::asio::awaitable<WaitEnd> wait(std::chrono::nanoseconds duration) override;
  boost::asio::awaitable<void> suspend(std::function<void(std::function<void()>)> start) override;

  /// Ends every wait as `exiting` and every suspension, runs what is ready and what that makes ready, and
  /// joins the thread. That may take until `bound`. A thread that does not finish one piece of work within
  /// `patience`, because host code in it blocks, is left behind. Later posts are refused. Called at most
  /// once, not on the background thread.
  void shutDown(std::chrono::milliseconds patience, std::chrono::milliseconds bound);

 private:
  void run();
  void endWaits();
  void runWhatIsReady();

  mutable boost::asio::io_context context_{1};
  std::promise<void> ended_;
  /// How many pieces of work were done since the end began.
  std::atomic<std::uint64_t> lastWork_ = 0;
  /// Touched on the background thread only.
  std::set<boost::asio::steady_timer*> waits_;
  std::list<std::function<void()>> suspended_;
  bool exiting_ = false;

  std::mutex mutex_;
  /// Guarded by `mutex_`; posts are refused once set.
  bool closed_ = false;

  std::thread thread_;
};

}  // namespace corvane
