#include "facade/StandardStores.h"

#include <mutex>
#include <string>
#include <utility>

#include "foundation/StoreKeys.h"
#include "platform/PreferencesPath.h"
#include "platform/ProcessRuntime.h"

namespace corvane {
namespace {

/// The stores in use. Never destroyed: background work may outlive every static object.
struct Current {
  std::mutex mutex;
  /// Guarded by `mutex`.
  StandardStores stores;

  StandardStores get() {
    const std::lock_guard lock(mutex);
    return stores;
  }
};

Current& current() {
  static Current* const made = [] {
    platform::runAtExit([] {
      const auto stores = current().get();
      if (!stores.eventQueue) return;
      stores.defaults->waitForHolderAgain();
      stores.eventQueue->writePending();
    });
    return new Current();
  }();
  return *made;
}

StandardStores makeStores(std::shared_ptr<platform::UserDefaults> defaults) {
  auto flags = std::make_shared<platform::UserDefaultsFlagStore>(defaults, std::string(keys::prefix));
  auto queue = std::make_shared<EventQueueStorage>(flags, flags, std::string(keys::eventQueue));
  return {std::move(defaults), std::move(flags), std::move(queue)};
}

}  // namespace

StandardStores standardStores(const CorvanePlatform& platform) {
  const auto file = platform.preferencesFile.empty()
                        ? platform::defaultPreferencesFile(platform.applicationIdentifier)
                        : platform.preferencesFile;
  auto defaults = platform::UserDefaults::open(file);
  StandardStores replaced;
  const std::lock_guard lock(current().mutex);
  StandardStores& stores = current().stores;
  if (stores.defaults != defaults) replaced = std::exchange(stores, makeStores(std::move(defaults)));
  return stores;
}

}  // namespace corvane
