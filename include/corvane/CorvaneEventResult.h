#pragma once

#include <cstdint>
#include <optional>

#include "corvane/CorvaneExport.h"

/// The backend's response to a tracked event. An immutable value; copies may be used on different threads.
class CORVANE_API CorvaneEventResult {
 public:
  CorvaneEventResult(std::optional<std::int64_t> id, bool attributed) noexcept;

  /// The backend's identifier of the recorded event.
  std::optional<std::int64_t> id() const noexcept { return id_; }
  /// Whether the event is attributed.
  bool attributed() const noexcept { return attributed_; }

  friend bool operator==(const CorvaneEventResult&, const CorvaneEventResult&) = default;

 private:
  std::optional<std::int64_t> id_;
  bool attributed_;
};
