#pragma once

#include <exception>
#include <string>
#include <variant>

#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"

namespace corvane {

/// Why an operation failed, as a value that can be passed between threads.
using Failure = std::variant<CorvaneError, CorvaneCancellationError>;

inline const std::exception& asException(const Failure& failure) {
  return std::visit([](const std::exception& error) -> const std::exception& { return error; }, failure);
}

inline std::string descriptionOf(const Failure& failure) {
  // Not `what()`: its text ends at the first NUL, which a server may have sent.
  if (const auto* error = std::get_if<CorvaneError>(&failure)) return error->errorDescription();
  return asException(failure).what();
}

[[noreturn]] inline void throwFailure(const Failure& failure) {
  if (const auto* error = std::get_if<CorvaneError>(&failure)) throw *error;
  throw CorvaneCancellationError();
}

/// The exception that is being handled, as a value. Call it in a `catch` block. An exception of another type,
/// such as `std::bad_alloc`, counts as a cancellation: the operation did not reach its end.
inline Failure currentFailure() {
  try {
    throw;
  } catch (const CorvaneError& error) {
    return error;
  } catch (...) {
    return CorvaneCancellationError();
  }
}

}  // namespace corvane
