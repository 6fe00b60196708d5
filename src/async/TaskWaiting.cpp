#include "async/TaskWaiting.h"

#include <stdexcept>
#include <utility>

#include "async/BackgroundThread.h"

namespace corvane {

bool TaskWaiting::isDone() const {
  const std::lock_guard lock(mutex_);
  return done_;
}

bool TaskWaiting::waitUntil(Clock::time_point deadline) {
  if (isBackgroundThread() && !isDone())
    throw std::logic_error(
        "waiting for a CorvaneTask on the library's own thread, where it is to be completed");
  // This strong reference must end before the wait on the condition below. Were it the last one, the
  // functions in the executor, perhaps the rest of this operation, would be refused only at its end.
  if (const auto executor = main_.executor(); executor && executor->isCurrentThread() && !isDone()) {
    executor->runUntil(
        [this, willWait = deadline > Clock::now()]() mutable {
          // At the first call only. An executor that cannot wait throws before it, and nothing has changed.
          if (std::exchange(willWait, false)) {
            MainThread::releaseCallers();
            wakeMainOnCompletion();
          }
          return isDone();
        },
        deadline);
    // Not what the executor returned: a loop of the host may have been ended early.
    return isDone();
  }
  std::unique_lock lock(mutex_);
  const auto isComplete = [this] { return done_; };
  if (deadline != Clock::time_point::max()) return completed_.wait_until(lock, deadline, isComplete);
  completed_.wait(lock, isComplete);
  return true;
}

/// The executor sleeps until a function is posted, so the completion posts an empty one. One continuation
/// serves every wait.
void TaskWaiting::wakeMainOnCompletion() {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(wakesMain_, true)) return;
  }
  onCompletion([main = main_] { main.post([] {}); });
}

void TaskWaiting::onCompletion(std::function<void()> continuation) {
  {
    const std::lock_guard lock(mutex_);
    if (!done_) {
      continuations_.push_back(std::move(continuation));
      return;
    }
  }
  continuation();
}

void TaskWaiting::continueOnMain(std::function<void(bool delivered)> continuation) {
  auto shared = std::make_shared<std::function<void(bool)>>(std::move(continuation));
  onCompletion(
      [main = main_, shared] { main.post([shared] { (*shared)(true); }, [shared] { (*shared)(false); }); });
}

void TaskWaiting::setCanceller(std::function<void()> canceller) {
  const std::lock_guard lock(mutex_);
  if (!done_) canceller_.swap(canceller);
}

void TaskWaiting::cancel() {
  std::function<void()> canceller;
  {
    const std::lock_guard lock(mutex_);
    canceller = canceller_;
  }
  if (canceller) canceller();
}

void TaskWaiting::complete(const std::function<void()>& publish) {
  std::vector<std::function<void()>> continuations;
  std::function<void()> canceller;
  {
    const std::lock_guard lock(mutex_);
    if (done_) return;
    publish();
    done_ = true;
    continuations.swap(continuations_);
    canceller.swap(canceller_);
  }
  completed_.notify_all();
  for (const auto& continuation : continuations) continuation();
}

}  // namespace corvane
