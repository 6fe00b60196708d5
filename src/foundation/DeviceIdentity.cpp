#include "foundation/DeviceIdentity.h"

#include "foundation/UUID.h"

namespace corvane {

std::string DeviceIdentity::deviceIdOrCreate() const {
  if (auto stored = store->stringForKey(key); stored && !stored->empty()) return *stored;
  std::string created = randomUUIDText();
  store->setString(created, key);
  return created;
}

}  // namespace corvane
