#pragma once

#include <memory>
#include <utility>
#include <variant>

#include "async/Failure.h"
#include "async/TaskWaiting.h"
#include "corvane/CorvaneTask.h"

namespace corvane {

/// How an operation ended.
template <class T>
using Outcome = std::variant<T, CorvaneError, CorvaneCancellationError>;

template <class T>
Outcome<T> outcomeOf(Failure failure) {
  return std::visit([](auto& error) -> Outcome<T> { return std::move(error); }, failure);
}

/// Returns the result or throws the failure.
template <class T>
T resultOf(const Outcome<T>& outcome) {
  if (const auto* error = std::get_if<CorvaneError>(&outcome)) throw *error;
  if (std::holds_alternative<CorvaneCancellationError>(outcome)) throw CorvaneCancellationError();
  return std::get<T>(outcome);
}

/// The state that all handles of one operation share and that the operation completes.
template <class T>
class TaskState : public TaskWaiting {
 public:
  using TaskWaiting::TaskWaiting;

  /// Sets the outcome. Without effect when the task is complete already.
  void complete(Outcome<T> outcome) {
    TaskWaiting::complete([&] { outcome_ = std::make_unique<const Outcome<T>>(std::move(outcome)); });
  }

  /// Precondition: the task is complete. The outcome does not change any more.
  const Outcome<T>& outcome() const { return *outcome_; }

 private:
  /// Allocated at the completion: a task that waits is small.
  std::unique_ptr<const Outcome<T>> outcome_;
};

}  // namespace corvane
