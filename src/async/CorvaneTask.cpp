#include "corvane/CorvaneTask.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "async/TaskState.h"
#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneEventResult.h"

using corvane::TaskWaiting;

template <class T>
CorvaneTask<T>::CorvaneTask(std::shared_ptr<corvane::TaskState<T>> state) noexcept
    : state_(std::move(state)) {}

template <class T>
CorvaneTask<T>::CorvaneTask(const CorvaneTask&) noexcept = default;
template <class T>
CorvaneTask<T>& CorvaneTask<T>::operator=(const CorvaneTask&) noexcept = default;
template <class T>
CorvaneTask<T>::~CorvaneTask() = default;

template <class T>
T CorvaneTask<T>::get() const {
  // The state must outlive the wait even if a callback that runs meanwhile assigns to this handle.
  const auto state = state_;
  if (!state->waitUntil(TaskWaiting::Clock::time_point::max()))
    throw std::logic_error("the main executor stopped waiting before the CorvaneTask was complete");
  return corvane::resultOf(state->outcome());
}

template <class T>
bool CorvaneTask<T>::waitFor(std::chrono::nanoseconds duration) const {
  const auto state = state_;
  const auto now = TaskWaiting::Clock::now();
  const auto longest = TaskWaiting::Clock::time_point::max() - now;
  return state->waitUntil(now + std::clamp(duration, std::chrono::nanoseconds::zero(), longest));
}

template <class T>
bool CorvaneTask<T>::isDone() const {
  return state_->isDone();
}

template <class T>
void CorvaneTask<T>::whenDone(std::function<void(CorvaneTask)> callback) const {
  state_->continueOnMain([task = *this, callback = std::move(callback)](bool delivered) {
    if (delivered && callback) callback(task);
  });
}

template <class T>
void CorvaneTask<T>::cancel() const {
  state_->cancel();
}

template <class T>
void CorvaneTask<T>::continueOnMain(std::function<void(bool delivered)> continuation) const {
  state_->continueOnMain(std::move(continuation));
}

template <class T>
void CorvaneTask<T>::throwCancellation() {
  throw CorvaneCancellationError();
}

template class CorvaneTask<CorvaneAttribution>;
template class CorvaneTask<CorvaneDeepLink>;
template class CorvaneTask<CorvaneEventResult>;
template class CorvaneTask<bool>;
