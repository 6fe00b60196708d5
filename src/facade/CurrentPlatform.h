#pragma once

#include "corvane/CorvanePlatform.h"
#include "facade/SharedSlot.h"

namespace corvane {

/// What `Corvane::setPlatform` named last. Never destroyed: a host may use the library while static objects
/// die.
SharedSlot<CorvanePlatform>& currentPlatform();

}  // namespace corvane
