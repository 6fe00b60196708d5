#include "facade/CurrentPlatform.h"

namespace corvane {

SharedSlot<CorvanePlatform>& currentPlatform() {
  static auto* const slot = new SharedSlot<CorvanePlatform>();
  return *slot;
}

}  // namespace corvane
