#pragma once

#include <cstdint>
#include <functional>

#include "corvane/CorvaneExport.h"

/// Whether the user allows this application to track, by the numbers of Apple's `ATTrackingManager`. A status
/// with any other number counts as not authorized.
enum class CorvaneTrackingAuthorizationStatus : std::int64_t {
  notDetermined = 0,  ///< The user was not asked yet.
  restricted = 1,     ///< Not allowed, and not for the user to change.
  denied = 2,
  authorized = 3,
};

/// The system's service that asks the user for permission to track, as the host supplies it.
///
/// Both operations are called on the thread that called `Corvane::requestTrackingAuthorization`, perhaps on
/// several at once, under no lock of the library. The library shares ownership with the client.
class CORVANE_API CorvaneTrackingAuthorizationProvider {
 public:
  using Completion = std::function<void(CorvaneTrackingAuthorizationStatus)>;

  virtual ~CorvaneTrackingAuthorizationProvider();

  /// The status of this moment; must not wait. One that throws counts as `restricted`.
  virtual CorvaneTrackingAuthorizationStatus trackingAuthorizationStatus() = 0;

  /// Asks the user and returns at once; calls `completion` with the new status when the user has answered,
  /// on any thread, also within this call. Called only after the status was `notDetermined`.
  ///
  /// The first call of `completion` counts, later ones have no effect. Where this throws, or the last copy of
  /// `completion` is destroyed uncalled, the answer is no. Where it keeps `completion` and never calls it,
  /// the library waits with it.
  virtual void requestTrackingAuthorization(Completion completion) = 0;
};
