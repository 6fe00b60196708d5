#include "foundation/DeviceIdentity.h"

#include "foundation/text/UUID.h"

namespace corvane {

std::string DeviceIdentity::deviceIdOrCreate() const {
  return store->stringForKeyOrStore(key, randomUUIDText);
}

}  // namespace corvane
