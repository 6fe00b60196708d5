#pragma once

#include <memory>

#include "corvane/CorvanePlatform.h"
#include "facade/SharedSlot.h"

namespace corvane {

/// The record that `Corvane::setPlatform` received last. Never destroyed: a host may use the library while
/// static objects are destroyed.
SharedSlot<CorvanePlatform>& currentPlatform();

/// The main executor that `platform` names, or the library's own queue.
std::shared_ptr<CorvaneExecutor> mainExecutor(const CorvanePlatform& platform);

}  // namespace corvane
