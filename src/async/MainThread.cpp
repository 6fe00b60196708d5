#include "async/MainThread.h"

#include <atomic>

namespace corvane {
namespace {

/// A function that was posted to the main thread. Calls `refused` when it is destroyed without a run.
class PostedFunction {
 public:
  PostedFunction(std::function<void()> run, std::function<void()> refused)
      : run_(std::move(run)), refused_(std::move(refused)) {}

  ~PostedFunction() {
    if (begun_ || !refused_) return;
    try {
      refused_();
    } catch (...) {
      // A destructor must not throw, and no caller is left to handle an exception of the host's code.
    }
  }

  PostedFunction(const PostedFunction&) = delete;
  PostedFunction& operator=(const PostedFunction&) = delete;

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

/// A function that `MainThread::call` is running on this thread. They nest when host code waits in one.
class ActiveCall {
 public:
  explicit ActiveCall(std::function<void()> resume) : resume_(std::move(resume)), outer_(innermost) {
    innermost = this;
  }

  ~ActiveCall() {
    innermost = outer_;
    release();
  }

  ActiveCall(const ActiveCall&) = delete;
  ActiveCall& operator=(const ActiveCall&) = delete;

  static void releaseAll() {
    for (ActiveCall* call = innermost; call != nullptr; call = call->outer_) call->release();
  }

 private:
  void release() {
    if (const auto resume = std::exchange(resume_, nullptr)) resume();
  }

  static thread_local ActiveCall* innermost;

  std::function<void()> resume_;
  ActiveCall* outer_;
};

thread_local ActiveCall* ActiveCall::innermost = nullptr;

}  // namespace

void MainThread::post(std::function<void()> run, std::function<void()> refused) const {
  const auto posted = std::make_shared<PostedFunction>(std::move(run), std::move(refused));
  const auto executor = executor_.lock();
  if (!executor) return;
  try {
    executor->post([posted] { posted->run(); });
  } catch (...) {
    // An executor that throws has refused the function.
  }
}

boost::asio::awaitable<void> MainThread::call(Background& background, std::function<void()> run) const {
  std::function<void(std::function<void()>)> start = [main = *this, run = std::move(run)](auto resume) {
    main.post(
        [run, resume] {
          const ActiveCall active(resume);
          run();
        },
        resume);
  };
  co_await background.suspend(std::move(start));
}

void MainThread::releaseCallers() {
  ActiveCall::releaseAll();
}

}  // namespace corvane
