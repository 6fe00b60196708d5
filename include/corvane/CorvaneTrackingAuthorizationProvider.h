#pragma once

#include <cstdint>
#include <functional>

#include "corvane/CorvaneExport.h"

/// Whether the user allows this application to track. The numbers are those of Apple's `ATTrackingManager`. A
/// status with any other number counts as not authorized.
enum class CorvaneTrackingAuthorizationStatus : std::int64_t {
  notDetermined = 0,  ///< The user has not been asked yet.
  restricted = 1,     ///< Not allowed, and the user cannot change it.
  denied = 2,
  authorized = 3,
};

/// The system's service that asks the user for permission to track. The host implements it.
///
/// Threads: both operations are called on the thread that called `Corvane::requestTrackingAuthorization`,
/// possibly on several threads at once, without a lock of the library. Ownership: the client shares it.
class CORVANE_API CorvaneTrackingAuthorizationProvider {
 public:
  using Completion = std::function<void(CorvaneTrackingAuthorizationStatus)>;

  virtual ~CorvaneTrackingAuthorizationProvider();

  /// Returns the current status; must not wait. An exception counts as `restricted`.
  virtual CorvaneTrackingAuthorizationStatus trackingAuthorizationStatus() = 0;

  /// Asks the user and returns at once. Calls `completion` with the new status when the user has decided, on
  /// any thread, possibly inside this call. Called only while the status is `notDetermined`.
  ///
  /// The first call of `completion` counts; later calls have no effect. When this operation throws, or
  /// destroys the last copy of `completion` without calling it, the request completes with false. When it
  /// keeps `completion` and never calls it, the request never completes.
  virtual void requestTrackingAuthorization(Completion completion) = 0;
};
