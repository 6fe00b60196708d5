#pragma once

#include <memory>

#include "corvane/CorvanePlatform.h"
#include "flows/EventStore.h"
#include "foundation/FlagStore.h"
#include "foundation/KeyValueStringStore.h"
#include "foundation/StoreMaintenance.h"

namespace corvane {

/// What is stored for one application; every client of the process that names the same preferences shares it.
struct StandardStores {
  std::shared_ptr<KeyValueStringStore> strings;
  std::shared_ptr<FlagStore> flags;
  std::shared_ptr<EventStore> events;
  std::shared_ptr<StoreMaintenance> maintenance;
};

/// The stores of the application that `platform` describes. Usable from any thread. They stay open between
/// clients, until those of another application are asked for: closing a database writes it out, on the
/// thread that drops the last client. At the end of the process, what could not be written is tried once
/// more.
StandardStores standardStores(const CorvanePlatform& platform);

/// Removes everything that the library stores, what waits in memory included.
void removeEverything(const StandardStores& stores);

}  // namespace corvane
