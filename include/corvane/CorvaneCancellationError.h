#pragma once

#include <exception>

#include "corvane/CorvaneExport.h"

/// The failure of an operation that was cancelled, or whose client was destroyed before the operation
/// started.
///
/// It is not a `CorvaneError`. `CorvaneTask::get` throws it, and the callback of `Corvane::onError` receives
/// it. All values are equal.
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
