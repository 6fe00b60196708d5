#pragma once

#include <memory>
#include <string>

#include "foundation/KeyValueStringStore.h"

namespace corvane {

/// Where the identifier of this installation lives.
struct DeviceIdentity {
  std::shared_ptr<KeyValueStringStore> store;
  std::string key;

  /// The stored identifier, in any form; when there is none, a new upper-case UUID, which is stored. Clients
  /// and processes that start together get the same one (KeyValueStringStore::stringForKeyOrStore).
  std::string deviceIdOrCreate() const;
};

}  // namespace corvane
