#include "platform/services/ATTManager.h"

#include "async/TaskState.h"
#include "foundation/AnsweredOnce.h"

CorvaneTrackingAuthorizationProvider::~CorvaneTrackingAuthorizationProvider() = default;

namespace corvane::platform {

using Status = CorvaneTrackingAuthorizationStatus;

void ATTManager::requestAuthorization(std::function<void(bool)> completion) const {
  // Shared, because the host's function must not be copied, and moved along, so that it is destroyed on the
  // thread where it ran.
  request(
      [shared = std::make_shared<const Answer>(std::move(completion)), main = main_](bool granted) mutable {
        main.post([shared = std::move(shared), granted] {
          if (*shared) (*shared)(granted);
        });
      });
}

CorvaneTask<bool> ATTManager::requestAuthorizationAsync() const {
  const auto state = std::make_shared<TaskState<bool>>(main_);
  request([state, main = main_](bool granted) {
    const auto complete = [state, granted] { state->complete(granted); };
    main.post(complete, complete);
  });
  return CorvaneTask<bool>(state);
}

void ATTManager::request(Answer answer) const {
  const Status known = status();
  if (known != Status::notDetermined) {
    if (known != Status::authorized) logger_.info([] { return "ATT: not authorized"; });
    return answer(known == Status::authorized);
  }
  const auto completion = answeredOnce<Status>(
      [answer = std::move(answer)](Status decided) { answer(decided == Status::authorized); },
      Status::denied);
  try {
    provider_->requestTrackingAuthorization(completion);
  } catch (...) {
    completion(Status::denied);
  }
}

Status ATTManager::status() const {
  if (!provider_) return Status::restricted;
  try {
    return provider_->trackingAuthorizationStatus();
  } catch (...) {
    return Status::restricted;
  }
}

}  // namespace corvane::platform
