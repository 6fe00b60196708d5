#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>
#include <memory>
#include <utility>

#include "async/Background.h"
#include "async/Suspend.h"
#include "async/TaskState.h"

namespace corvane {

template <class T>
using Body = std::function<boost::asio::awaitable<T>()>;

/// Runs `body` as a new background task and returns a function that cancels the task, from any thread. The
/// body must not throw. While the process exits, the body may be destroyed without a run.
std::function<void()> spawn(const std::shared_ptr<Background>& background, Body<void> body);

/// Completes a task once: with an outcome, or as cancelled when this object is destroyed before an outcome
/// came. So a task completes also when the executor drops its body.
template <class T>
class Completion {
 public:
  explicit Completion(std::shared_ptr<TaskState<T>> state, std::function<void()> before = {})
      : state_(std::move(state)), before_(std::move(before)) {}
  ~Completion() { complete(CorvaneCancellationError()); }
  Completion(const Completion&) = delete;
  Completion& operator=(const Completion&) = delete;

  void complete(Outcome<T> outcome) {
    const auto state = std::exchange(state_, nullptr);
    if (!state) return;
    if (before_) before_();
    state->complete(std::move(outcome));
  }

 private:
  std::shared_ptr<TaskState<T>> state_;
  std::function<void()> before_;
};

template <class T>
boost::asio::awaitable<void> runToCompletion(std::shared_ptr<Completion<T>> completion, Body<T> body) {
  std::optional<Outcome<T>> outcome;
  try {
    T result = co_await body();
    outcome.emplace(std::move(result));
  } catch (...) {
    outcome.emplace(outcomeOf<T>(currentFailure()));
  }
  completion->complete(*std::move(outcome));
}

/// Runs `body` in the background and completes `state` with its outcome. `before` is always called, just
/// before the completion.
template <class T>
void start(const std::shared_ptr<Background>& background, const std::shared_ptr<TaskState<T>>& state,
           Body<T> body, std::function<void()> before = {}) {
  auto completion = std::make_shared<Completion<T>>(state, std::move(before));
  state->setCanceller(spawn(background, [completion = std::move(completion), body = std::move(body)] {
    return runToCompletion<T>(completion, body);
  }));
}

/// Suspends the calling task until `state` is complete, and returns its result or throws its failure.
/// Cancelling the calling task neither ends the wait nor cancels the awaited task.
template <class T>
boost::asio::awaitable<T> join(std::shared_ptr<TaskState<T>> state) {
  std::function<void(std::function<void()>)> whenComplete = [state](auto resume) {
    state->onCompletion(std::move(resume));
  };
  co_await suspendUntil(std::move(whenComplete));
  co_return resultOf(state->outcome());
}

}  // namespace corvane
