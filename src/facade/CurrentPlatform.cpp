#include "facade/CurrentPlatform.h"

#include "corvane/CorvaneMainQueue.h"

namespace corvane {

SharedSlot<CorvanePlatform>& currentPlatform() {
  static auto* const slot = new SharedSlot<CorvanePlatform>();
  return *slot;
}

std::shared_ptr<CorvaneExecutor> mainExecutor(const CorvanePlatform& machine) {
  return machine.mainExecutor ? machine.mainExecutor : CorvaneMainQueue::main();
}

}  // namespace corvane
