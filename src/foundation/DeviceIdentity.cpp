#include "foundation/DeviceIdentity.h"

#include <mutex>

#include "foundation/text/UUID.h"

namespace corvane {

std::string DeviceIdentity::deviceIdOrCreate() const {
  // Two threads that build their first client at once must agree on one identifier.
  static std::mutex creation;
  const std::lock_guard lock(creation);
  if (auto stored = store->stringForKey(key); stored && !stored->empty()) return *stored;
  std::string created = randomUUIDText();
  store->setString(created, key);
  return created;
}

}  // namespace corvane
