#pragma once

#include <memory>
#include <string>

#include "foundation/KeyValueStringStore.h"

namespace corvane {

/// Where the identifier of this installation lives.
struct DeviceIdentity {
  std::shared_ptr<KeyValueStringStore> store;
  std::string key;

  /// The stored identifier, whatever text it is; a new upper-case UUID, stored, when there is none.
  std::string deviceIdOrCreate() const;
};

}  // namespace corvane
