#pragma once

#include <exception>
#include <string>
#include <variant>

#include "corvane/CorvaneCancellationError.h"
#include "corvane/CorvaneError.h"

namespace corvane {

/// Why an operation failed, as a value: this is how failures travel between threads.
using Failure = std::variant<CorvaneError, CorvaneCancellationError>;

inline const std::exception& asException(const Failure& failure) {
  return std::visit([](const std::exception& error) -> const std::exception& { return error; }, failure);
}

inline std::string descriptionOf(const Failure& failure) {
  // Not `what()`, which ends at a NUL that a server may have sent.
  if (const auto* error = std::get_if<CorvaneError>(&failure)) return error->errorDescription();
  return asException(failure).what();
}

[[noreturn]] inline void throwFailure(const Failure& failure) {
  if (const auto* error = std::get_if<CorvaneError>(&failure)) throw *error;
  throw CorvaneCancellationError();
}

/// The failure that is being handled; to be called in a `catch` block. Anything but the two known kinds, such
/// as a lack of memory, means that the operation did not get to its end.
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
