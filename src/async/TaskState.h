#pragma once

#include <memory>
#include <optional>
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

/// The result, or the failure thrown.
template <class T>
T resultOf(const Outcome<T>& outcome) {
  if (const auto* error = std::get_if<CorvaneError>(&outcome)) throw *error;
  if (std::holds_alternative<CorvaneCancellationError>(outcome)) throw CorvaneCancellationError();
  return std::get<T>(outcome);
}

/// What the handles of one operation share, and the operation completes.
template <class T>
class TaskState : public TaskWaiting {
 public:
  using TaskWaiting::TaskWaiting;

  /// The first outcome counts.
  void complete(Outcome<T> outcome) {
    TaskWaiting::complete([&] { outcome_.emplace(std::move(outcome)); });
  }

  /// Only when the task is complete: the outcome never changes then.
  const Outcome<T>& outcome() const { return *outcome_; }

 private:
  std::optional<Outcome<T>> outcome_;
};

}  // namespace corvane
