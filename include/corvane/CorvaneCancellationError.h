#pragma once

#include <exception>

#include "corvane/CorvaneExport.h"

/// The failure of an operation that was cancelled, or whose client was gone before it could begin.
///
/// It is not a `CorvaneError`: it reaches a host unchanged, from `CorvaneTask::get` and through the callback
/// of `Corvane::onError`. All values are equal.
class CORVANE_API CorvaneCancellationError : public std::exception {
 public:
  CorvaneCancellationError() noexcept;
  CorvaneCancellationError(const CorvaneCancellationError&) noexcept;
  CorvaneCancellationError& operator=(const CorvaneCancellationError&) noexcept;
  ~CorvaneCancellationError() override;

  /// "The operation was cancelled."
  const char* what() const noexcept override;

  friend bool operator==(const CorvaneCancellationError&, const CorvaneCancellationError&) noexcept {
    return true;
  }
};
