#pragma once

#include <functional>
#include <utility>

#include "core/MainThread.h"
#include "corvane/CorvaneTask.h"
#include "foundation/CorvaneLogger.h"
#include "platform/ATTrackingManager.h"

namespace corvane::platform {

/// Asks for permission to track. Holds no mutable state; usable from any thread. The status is read, and the
/// user is asked, on the calling thread. What is under way needs neither this object nor the client.
class ATTManager {
 public:
  ATTManager(CorvaneLogger logger, ATTrackingManager system, MainThread main)
      : logger_(logger), system_(std::move(system)), main_(std::move(main)) {}

  /// Calls `completion` once on the main thread, never inside this call.
  void requestAuthorization(std::function<void(bool)> completion) const;

  /// Completes with the answer after the main thread's turn, or where the main executor refuses that.
  CorvaneTask<bool> requestAuthorizationAsync() const;

 private:
  using Answer = std::function<void(bool)>;

  /// Calls `answer` once, on whatever thread the answer comes.
  void request(Answer answer) const;

  const CorvaneLogger logger_;
  const ATTrackingManager system_;
  const MainThread main_;
};

}  // namespace corvane::platform
