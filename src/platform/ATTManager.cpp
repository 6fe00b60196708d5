#include "platform/ATTManager.h"

#include <memory>

#include "core/TaskState.h"

namespace corvane::platform {

using Status = CorvaneTrackingAuthorizationStatus;

void ATTManager::requestAuthorization(std::function<void(bool)> completion) const {
  // Shared, as a function of the host's is not to be copied, and moved along, so that it dies where it ran.
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
  const Status status = system_.trackingAuthorizationStatus();
  if (status == Status::notDetermined)
    return system_.requestTrackingAuthorizationWithCompletionHandler(
        [answer = std::move(answer)](Status decided) { answer(decided == Status::authorized); });
  if (status != Status::authorized) logger_.info([] { return "ATT: not authorized"; });
  answer(status == Status::authorized);
}

}  // namespace corvane::platform
