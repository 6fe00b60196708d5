#include "async/BackgroundQueue.h"

#include <algorithm>
#include <utility>

namespace corvane {

void BackgroundQueue::post(std::function<void()> function) {
  {
    const std::lock_guard lock(mutex_);
    functions_.push_back(std::move(function));
    if (std::exchange(runIsPosted_, true)) return;
  }
  // What a refused post leaves is destroyed here, without the lock.
  if (!background_->post([self = shared_from_this()] { self->runPortion(); })) takeRefused();
}

void BackgroundQueue::runAll() {
  for (const auto& function : takeAll()) function();
}

void BackgroundQueue::runPortion() {
  for (const auto& function : takePortion()) function();
  {
    const std::lock_guard lock(mutex_);
    runIsPosted_ = !functions_.empty();
    if (!runIsPosted_) return;
  }
  if (background_->post([self = shared_from_this()] { self->runPortion(); })) return;
  for (const auto& function : takeRefused()) function();
}

/// No run is posted.
BackgroundQueue::Functions BackgroundQueue::takeRefused() {
  Functions taken;
  const std::lock_guard lock(mutex_);
  taken.swap(functions_);
  runIsPosted_ = false;
  return taken;
}

BackgroundQueue::Functions BackgroundQueue::takePortion() {
  Functions taken;
  const std::lock_guard lock(mutex_);
  const std::size_t portion = std::max(smallestPortion, functions_.size() / divisor);
  while (taken.size() < portion && !functions_.empty()) {
    taken.push_back(std::move(functions_.front()));
    functions_.pop_front();
  }
  return taken;
}

BackgroundQueue::Functions BackgroundQueue::takeAll() {
  Functions taken;
  const std::lock_guard lock(mutex_);
  taken.swap(functions_);
  return taken;
}

}  // namespace corvane
