#include "corvane/CorvaneMainQueue.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <utility>

using Clock = std::chrono::steady_clock;

namespace {

/// A number that identifies the calling thread. Not the system's thread id, which is reused after a thread
/// ends.
std::uint64_t currentThread() {
  static std::atomic<std::uint64_t> last = 0;
  static thread_local const std::uint64_t number = ++last;
  return number;
}

}  // namespace

CorvaneExecutor::~CorvaneExecutor() = default;

void CorvaneExecutor::adoptCurrentThread() {}

bool CorvaneExecutor::runUntil(const std::function<bool()>&, Clock::time_point) {
  throw std::logic_error("waiting for a CorvaneTask on the main thread: use whenDone or co_await");
}

/// The lock guards every field. Functions run, are copied and are destroyed without it.
struct CorvaneMainQueue::State {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::function<void()>> waiting;
  std::shared_ptr<const std::function<void()>> wakeUp;
  std::uint64_t owner = 0;  // none
  bool stopped = false;

  std::function<void()> takeFirst() {
    const std::lock_guard lock(mutex);
    if (waiting.empty()) return {};
    std::function<void()> first = std::move(waiting.front());
    waiting.pop_front();
    return first;
  }
};

CorvaneMainQueue::CorvaneMainQueue() : state_(std::make_unique<State>()) {}

CorvaneMainQueue::~CorvaneMainQueue() {
  // A function's destructor may post again.
  while (state_->takeFirst()) {
  }
}

const std::shared_ptr<CorvaneMainQueue>& CorvaneMainQueue::main() {
  // Never destroyed: background work may post while the process ends.
  static const auto* const queue = new std::shared_ptr(std::make_shared<CorvaneMainQueue>());
  return *queue;
}

void CorvaneMainQueue::post(std::function<void()> function) {
  if (!function) return;
  std::shared_ptr<const std::function<void()>> wakeUp;
  {
    const std::lock_guard lock(state_->mutex);
    state_->waiting.push_back(std::move(function));
    wakeUp = state_->wakeUp;
  }
  state_->changed.notify_one();
  if (wakeUp) (*wakeUp)();
}

bool CorvaneMainQueue::isCurrentThread() const {
  const std::lock_guard lock(state_->mutex);
  return state_->owner == currentThread();
}

void CorvaneMainQueue::run() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->owner = currentThread();
  }
  const auto stopped = [this] {
    const std::lock_guard lock(state_->mutex);
    return std::exchange(state_->stopped, false);
  };
  runUntil(stopped, Clock::time_point::max());
}

std::size_t CorvaneMainQueue::poll() {
  std::size_t waiting;
  {
    const std::lock_guard lock(state_->mutex);
    state_->owner = currentThread();
    waiting = state_->waiting.size();
  }
  // A function that waits for a task may run some of the others, so the queue can be empty early.
  std::size_t count = 0;
  for (; count < waiting; ++count) {
    const auto function = state_->takeFirst();
    if (!function) break;
    function();
  }
  return count;
}

void CorvaneMainQueue::stop() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->stopped = true;
  }
  // Wakes `run`, also where the host's event loop waits for `onWakeUp`.
  post([] {});
}

void CorvaneMainQueue::onWakeUp(std::function<void()> hook) {
  auto replacement = hook ? std::make_shared<const std::function<void()>>(std::move(hook)) : nullptr;
  const auto registered = replacement;
  bool hasWork = false;
  {
    const std::lock_guard lock(state_->mutex);
    state_->wakeUp.swap(replacement);
    hasWork = !state_->waiting.empty();
  }
  if (hasWork && registered) (*registered)();
}

void CorvaneMainQueue::adoptCurrentThread() {
  const std::lock_guard lock(state_->mutex);
  if (state_->owner == 0) state_->owner = currentThread();
}

bool CorvaneMainQueue::runUntil(const std::function<bool()>& isDone, Clock::time_point deadline) {
  while (!isDone()) {
    if (const auto function = state_->takeFirst()) {
      function();
      if (deadline != Clock::time_point::max() && Clock::now() >= deadline) return isDone();
      continue;
    }
    std::unique_lock lock(state_->mutex);
    const auto hasWork = [this] { return !state_->waiting.empty(); };
    if (deadline == Clock::time_point::max()) {
      state_->changed.wait(lock, hasWork);
    } else if (!state_->changed.wait_until(lock, deadline, hasWork)) {
      lock.unlock();
      return isDone();
    }
  }
  return true;
}
