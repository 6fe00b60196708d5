#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>
#include <list>
#include <utility>
#include <vector>

#include "async/Background.h"
#include "async/Suspend.h"

namespace corvane::test {

/// The background executor with a fake clock: work runs on the test's thread when the test calls `run`, and
/// waits end when the test calls `advance`.
class FakeBackground : public Background {
 public:
  boost::asio::any_io_executor executor() const override { return context_.get_executor(); }

  std::chrono::steady_clock::time_point now() const override {
    return std::chrono::steady_clock::time_point(now_);
  }

  bool post(std::function<void()> function) override {
    if (refusing) return false;
    boost::asio::post(context_, std::move(function));
    return true;
  }

  bool isExiting() const override { return exiting; }

  boost::asio::awaitable<WaitEnd> wait(std::chrono::nanoseconds duration) override {
    const bool before = co_await isCancelled();
    if (before) co_return WaitEnd::cancelled;
    if (exiting) co_return WaitEnd::exiting;
    if (duration <= duration.zero()) co_return WaitEnd::elapsed;
    waits.push_back(duration);
    // Never expires by itself: it ends by being cancelled.
    boost::asio::steady_timer timer(context_, boost::asio::steady_timer::time_point::max());
    const auto place = pending_.insert(pending_.end(), {now_ + duration, &timer});
    try {
      co_await timer.async_wait(boost::asio::use_awaitable);
    } catch (const boost::system::system_error&) {
    }
    pending_.erase(place);
    const bool after = co_await isCancelled();
    co_return after ? WaitEnd::cancelled : exiting ? WaitEnd::exiting : WaitEnd::elapsed;
  }

  boost::asio::awaitable<void> suspend(std::function<void(std::function<void()>)> start) override {
    return suspendUntil(std::move(start));
  }

  /// Runs everything that is ready, and what becomes ready meanwhile.
  void run() {
    context_.restart();
    while (context_.poll() > 0) {
    }
  }

  /// Lets time pass and runs what comes due.
  void advance(std::chrono::nanoseconds by) {
    now_ += by;
    for (const auto& [due, timer] : pending_)
      if (due <= now_) timer->cancel();
    run();
  }

  /// Ends every wait, as the end of the process does.
  void exit() {
    exiting = true;
    for (const auto& [due, timer] : pending_) timer->cancel();
    run();
  }

  /// The duration of every wait, in order.
  std::vector<std::chrono::nanoseconds> waits;
  bool exiting = false;
  /// Posts are destroyed without being run, as after the end of the process.
  bool refusing = false;

 private:
  mutable boost::asio::io_context context_;
  std::chrono::nanoseconds now_{};
  std::list<std::pair<std::chrono::nanoseconds, boost::asio::steady_timer*>> pending_;
};

}  // namespace corvane::test
