#pragma once

#include <memory>

#include "corvane/CorvanePlatform.h"
#include "flows/EventQueueStorage.h"
#include "platform/UserDefaults.h"
#include "platform/UserDefaultsFlagStore.h"

namespace corvane {

/// What is stored for one application; every client of the process that names the same preferences shares it.
struct StandardStores {
  std::shared_ptr<platform::UserDefaults> defaults;
  std::shared_ptr<platform::UserDefaultsFlagStore> flags;
  std::shared_ptr<EventQueueStorage> eventQueue;
};

/// The stores of the application that `platform` describes. Usable from any thread. They stay open between
/// clients, until those of another application are asked for: closing a database writes it out, on whatever
/// thread drops the last client. At the end of the process, what the queue could not write is tried once
/// more.
StandardStores standardStores(const CorvanePlatform& platform);

}  // namespace corvane
