#include "facade/StandardStores.h"

#include <mutex>
#include <string>
#include <utility>

#include "foundation/StoreKeys.h"
#include "platform/PreferencesPath.h"
#include "platform/ProcessRuntime.h"

namespace corvane {
namespace {

StandardStores makeStores(std::shared_ptr<platform::UserDefaults> defaults) {
  auto flags = std::make_shared<platform::UserDefaultsFlagStore>(defaults, std::string(keys::prefix));
  auto queue = std::make_shared<EventQueueStorage>(flags, flags, std::string(keys::eventQueue));
  platform::runAtExit([weak = std::weak_ptr(queue)] {
    if (const auto storage = weak.lock()) storage->writePending();
  });
  return {std::move(defaults), std::move(flags), std::move(queue)};
}

}  // namespace

StandardStores standardStores(const CorvanePlatform& platform) {
  // Never destroyed: background work may outlive every static object.
  static auto* const mutex = new std::mutex();
  static auto* const current = new StandardStores();
  const auto file = platform.preferencesFile.empty()
                        ? platform::defaultPreferencesFile(platform.applicationIdentifier)
                        : platform.preferencesFile;
  auto defaults = platform::UserDefaults::open(file);
  StandardStores replaced;
  const std::lock_guard lock(*mutex);
  if (current->defaults != defaults) replaced = std::exchange(*current, makeStores(std::move(defaults)));
  return *current;
}

}  // namespace corvane
