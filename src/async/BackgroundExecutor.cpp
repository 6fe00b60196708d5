#include "async/BackgroundExecutor.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <system_error>
#include <utility>

#include "async/BackgroundThread.h"
#include "async/LibraryThread.h"
#include "async/Suspend.h"

namespace corvane {

namespace asio = boost::asio;

BackgroundExecutor::BackgroundExecutor() {
  try {
    thread_ = startLibraryThread([this] { run(); });
  } catch (const std::system_error&) {
    // Without a thread, every post is refused and every task completes as cancelled.
    closed_ = true;
    ended_.set_value();
  }
}

BackgroundExecutor::~BackgroundExecutor() {
  context_.stop();
  if (thread_.joinable()) thread_.join();
}

asio::any_io_executor BackgroundExecutor::executor() const {
  return context_.get_executor();
}

bool BackgroundExecutor::post(std::function<void()> function) {
  const std::lock_guard lock(mutex_);
  if (closed_) return false;
  asio::post(context_, std::move(function));
  return true;
}

asio::awaitable<WaitEnd> BackgroundExecutor::wait(std::chrono::nanoseconds duration) {
  // A cancellation emitted before the timer's wait begins does not end that wait.
  const bool alreadyCancelled = co_await isCancelled();
  if (alreadyCancelled) co_return WaitEnd::cancelled;
  if (exiting_) co_return WaitEnd::exiting;
  if (duration <= duration.zero()) co_return WaitEnd::elapsed;
  asio::steady_timer timer(context_, duration);
  waits_.insert(&timer);
  co_await timer.async_wait(asio::as_tuple(asio::use_awaitable));
  waits_.erase(&timer);
  const bool cancelled = co_await isCancelled();
  if (cancelled) co_return WaitEnd::cancelled;
  co_return exiting_ ? WaitEnd::exiting : WaitEnd::elapsed;
}

asio::awaitable<void> BackgroundExecutor::suspend(std::function<void(std::function<void()>)> start) {
  if (exiting_) co_return;
  std::list<std::function<void()>>::iterator place;
  std::function<void(std::function<void()>)> registered = [&](std::function<void()> resume) {
    auto once = [done = std::make_shared<std::atomic<bool>>(false), resume] {
      if (!done->exchange(true)) resume();
    };
    place = suspended_.insert(suspended_.end(), once);
    start(once);
  };
  co_await suspendUntil(std::move(registered));
  suspended_.erase(place);
}

/// The body of the background thread.
void BackgroundExecutor::run() {
  markBackgroundThread();
  const auto work = asio::make_work_guard(context_);
  context_.run();
  endWaits();
  context_.restart();
  runReady();
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
  }
  // Functions that were posted before `closed_` was set.
  runReady();
  ended_.set_value();
}

void BackgroundExecutor::runReady() {
  while (context_.poll_one() > 0) ++functionsRun_;
}

void BackgroundExecutor::endWaits() {
  exiting_ = true;
  for (asio::steady_timer* timer : waits_) timer->cancel();
  for (const auto& resume : suspended_) resume();
}

void BackgroundExecutor::shutDown(std::chrono::milliseconds stallTimeout, std::chrono::milliseconds timeout) {
  context_.stop();
  const auto ended = ended_.get_future();
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  std::uint64_t done = 0;
  bool makesProgress = true;
  while (makesProgress && ended.wait_for(stallTimeout) != std::future_status::ready) {
    const std::uint64_t before = std::exchange(done, functionsRun_.load());
    makesProgress = done != before && std::chrono::steady_clock::now() < deadline;
  }
  if (!thread_.joinable()) return;
  if (makesProgress) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

}  // namespace corvane
