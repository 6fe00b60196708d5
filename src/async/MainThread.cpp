#include "async/MainThread.h"

#include <atomic>

namespace corvane {
namespace {

/// A function on its way to the main thread. Destroyed without having run, it was refused.
class Posted {
 public:
  Posted(std::function<void()> run, std::function<void()> refused)
      : run_(std::move(run)), refused_(std::move(refused)) {}

  ~Posted() {
    if (begun_ || !refused_) return;
    try {
      refused_();
    } catch (...) {
      // Host code that goes on after a refusal has nobody left to throw to.
    }
  }

  Posted(const Posted&) = delete;
  Posted& operator=(const Posted&) = delete;

  void run() {
    if (begun_.exchange(true)) return;
    refused_ = nullptr;
    const auto run = std::move(run_);
    run();
  }

 private:
  std::atomic<bool> begun_ = false;
  std::function<void()> run_;
  std::function<void()> refused_;
};

/// One function that `MainThread::call` is running on this thread; they nest when host code waits in one.
class Turn {
 public:
  explicit Turn(std::function<void()> resume) : resume_(std::move(resume)), outer_(innermost) {
    innermost = this;
  }

  ~Turn() {
    innermost = outer_;
    release();
  }

  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  static void releaseAll() {
    for (Turn* turn = innermost; turn != nullptr; turn = turn->outer_) turn->release();
  }

 private:
  void release() {
    if (const auto resume = std::exchange(resume_, nullptr)) resume();
  }

  static thread_local Turn* innermost;

  std::function<void()> resume_;
  Turn* outer_;
};

thread_local Turn* Turn::innermost = nullptr;

}  // namespace

void MainThread::post(std::function<void()> run, std::function<void()> refused) const {
  const auto posted = std::make_shared<Posted>(std::move(run), std::move(refused));
  const auto executor = executor_.lock();
  if (!executor) return;
  try {
    executor->post([posted] { posted->run(); });
  } catch (...) {
    // An executor that cannot take the function has refused it.
  }
}

boost::asio::awaitable<void> MainThread::call(Background& background, std::function<void()> run) const {
  std::function<void(std::function<void()>)> start = [main = *this, run = std::move(run)](auto resume) {
    main.post(
        [run, resume] {
          const Turn turn(resume);
          run();
        },
        resume);
  };
  co_await background.suspend(std::move(start));
}

void MainThread::releaseCallers() {
  Turn::releaseAll();
}

}  // namespace corvane
