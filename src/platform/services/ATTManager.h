#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "async/MainThread.h"
#include "corvane/CorvaneTask.h"
#include "corvane/CorvaneTrackingAuthorizationProvider.h"
#include "foundation/CorvaneLogger.h"

namespace corvane::platform {

/// Asks for permission to track, by the host's provider. Without a provider the status is restricted.
///
/// Holds no mutable state; usable from any thread. The status is read, and the user is asked, on the calling
/// thread. A request in progress needs neither this object nor the client.
class ATTManager {
 public:
  ATTManager(CorvaneLogger logger, std::shared_ptr<CorvaneTrackingAuthorizationProvider> provider,
             MainThread main)
      : logger_(logger), provider_(std::move(provider)), main_(std::move(main)) {}

  /// Calls `completion` once on the main thread, never inside this call.
  void requestAuthorization(std::function<void(bool)> completion) const;

  /// Completes with the decision, on the main thread or where the main executor refuses a function.
  CorvaneTask<bool> requestAuthorizationAsync() const;

 private:
  using Answer = std::function<void(bool)>;

  /// Calls `answer` once, on any thread, also within this call. A provider that throws, or destroys its
  /// completion without a call, counts as restricted or denied. If it keeps the completion and never calls
  /// it, `answer` is not called.
  void request(Answer answer) const;
  CorvaneTrackingAuthorizationStatus status() const;

  const CorvaneLogger logger_;
  const std::shared_ptr<CorvaneTrackingAuthorizationProvider> provider_;
  const MainThread main_;
};

}  // namespace corvane::platform
