#include "facade/CurrentPlatform.h"

#include "corvane/CorvaneMainQueue.h"

namespace corvane {

SharedSlot<CorvanePlatform>& currentPlatform() {
  static auto* const slot = new SharedSlot<CorvanePlatform>();
  return *slot;
}

std::shared_ptr<CorvaneExecutor> mainExecutor(const CorvanePlatform& platform) {
  return platform.mainExecutor ? platform.mainExecutor : CorvaneMainQueue::main();
}

}  // namespace corvane
