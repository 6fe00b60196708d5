#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "corvane/CorvaneTrackingAuthorizationProvider.h"

namespace corvane::platform {

/// The system's permission to track, from the host's provider; without one, restricted. A value; usable from
/// any thread.
class ATTrackingManager {
 public:
  using Status = CorvaneTrackingAuthorizationStatus;

  explicit ATTrackingManager(std::shared_ptr<CorvaneTrackingAuthorizationProvider> provider)
      : provider_(std::move(provider)) {}

  /// Restricted where the provider throws.
  Status trackingAuthorizationStatus() const;

  /// Calls `completion` once: with the provider's first answer, or with denied where the provider throws or
  /// drops it; never, where the provider keeps it for ever. On any thread, also within this call.
  void requestTrackingAuthorizationWithCompletionHandler(std::function<void(Status)> completion) const;

 private:
  std::shared_ptr<CorvaneTrackingAuthorizationProvider> provider_;
};

}  // namespace corvane::platform
