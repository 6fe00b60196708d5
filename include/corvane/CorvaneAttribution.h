#pragma once

#include <cstdint>
#include <optional>

#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneExport.h"

/// The attribution result of the install, as the backend determined it. An immutable value; copies may be
/// used on different threads.
class CORVANE_API CorvaneAttribution {
 public:
  CorvaneAttribution(std::optional<std::int64_t> id, bool attributed,
                     std::optional<CorvaneDeepLink> deepLink);

  /// The backend's identifier of the install event.
  std::optional<std::int64_t> id() const noexcept { return id_; }
  /// Whether the install is attributed to a link. Always false for an install that was reported without
  /// consent.
  bool attributed() const noexcept { return attributed_; }
  /// The link that the install is attributed to.
  const std::optional<CorvaneDeepLink>& deepLink() const noexcept { return deepLink_; }

  friend bool operator==(const CorvaneAttribution&, const CorvaneAttribution&) = default;

 private:
  std::optional<std::int64_t> id_;
  bool attributed_;
  std::optional<CorvaneDeepLink> deepLink_;
};
