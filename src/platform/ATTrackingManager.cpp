#include "platform/ATTrackingManager.h"

#include "foundation/AnsweredOnce.h"

CorvaneTrackingAuthorizationProvider::~CorvaneTrackingAuthorizationProvider() = default;

namespace corvane::platform {

ATTrackingManager::Status ATTrackingManager::trackingAuthorizationStatus() const {
  if (!provider_) return Status::restricted;
  try {
    return provider_->trackingAuthorizationStatus();
  } catch (...) {
    return Status::restricted;
  }
}

void ATTrackingManager::requestTrackingAuthorizationWithCompletionHandler(
    std::function<void(Status)> completion) const {
  if (!provider_) return completion(Status::denied);
  const auto answer = answeredOnce<Status>(std::move(completion), Status::denied);
  try {
    provider_->requestTrackingAuthorization(answer);
  } catch (...) {
    answer(Status::denied);
  }
}

}  // namespace corvane::platform
