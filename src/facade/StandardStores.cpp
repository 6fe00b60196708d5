#include "facade/StandardStores.h"

#include <chrono>
#include <filesystem>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "facade/ProcessRuntime.h"
#include "foundation/StoreKeys.h"
#include "platform/preferences/PreferencesPath.h"
#include "platform/preferences/UserDefaults.h"
#include "platform/preferences/UserDefaultsFlagStore.h"
#include "platform/preferences/UserDefaultsStringStore.h"

namespace corvane {
namespace {

/// How long the last writes of the process may wait for other processes, all of them together. A program that
/// ends has no later write that could take the values along.
constexpr auto longestWaitAtExit = std::chrono::seconds(5);

StandardStores openStores(const std::filesystem::path& file) {
  const auto defaults = platform::UserDefaults::open(file);
  const std::string prefix(keys::prefix);
  const auto flags = std::make_shared<platform::UserDefaultsFlagStore>(defaults, prefix);
  return {.strings = std::make_shared<platform::UserDefaultsStringStore>(defaults, prefix),
          .flags = flags,
          .events = std::make_shared<EventStore>(flags, flags, std::string(keys::eventQueue)),
          .maintenance = defaults};
}

/// The stores of this process. Never destroyed: background work may outlive every static object.
class OpenStores {
 public:
  static OpenStores& shared() {
    static OpenStores* const made = [] {
      runAtExit([] { shared().writeAtExit(); });
      return new OpenStores();
    }();
    return *made;
  }

  StandardStores of(const std::filesystem::path& file) {
    StandardStores opened = openStores(file);
    StandardStores replaced;
    const std::lock_guard lock(mutex_);
    if (current_.maintenance == opened.maintenance) return current_;
    // Clients of an earlier file that is opened again share its events and their claims.
    std::erase_if(known_, [&](const Known& known) {
      const auto events = known.events.lock();
      const bool isSame = known.maintenance.lock() == opened.maintenance;
      if (isSame && events) opened.events = events;
      return isSame || !events;
    });
    known_.push_back({opened.events, opened.maintenance});
    replaced = std::exchange(current_, std::move(opened));
    return current_;
  }

 private:
  /// Stores that were replaced live on with the clients that use them.
  struct Known {
    std::weak_ptr<EventStore> events;
    std::weak_ptr<StoreMaintenance> maintenance;
  };

  void writeAtExit() {
    std::vector<Known> known;
    {
      const std::lock_guard lock(mutex_);
      known = known_;
    }
    const auto deadline = std::chrono::steady_clock::now() + longestWaitAtExit;
    for (const Known& stores : known) {
      const auto maintenance = stores.maintenance.lock();
      if (!maintenance) continue;
      maintenance->waitForHoldersUntil(deadline);
      // Takes along the other values that are kept in memory, if there are events to write.
      if (const auto events = stores.events.lock()) events->writePending();
      maintenance->synchronize();
      maintenance->close();
    }
  }

  std::mutex mutex_;
  /// Guarded by `mutex_`.
  StandardStores current_;
  std::vector<Known> known_;
};

}  // namespace

StandardStores standardStores(const CorvanePlatform& platform) {
  return OpenStores::shared().of(platform.preferencesFile.empty()
                                     ? platform::defaultPreferencesFile(platform.applicationIdentifier)
                                     : platform.preferencesFile);
}

void removeEverything(const StandardStores& stores) {
  stores.events->clear();
  for (const auto key : {keys::installTracked, keys::deferredRouted, keys::lastAttribution, keys::eventQueue,
                         keys::consentSet, keys::consentGranted})
    stores.flags->removeValue(key);
  stores.strings->removeValue(keys::deviceId);
}

}  // namespace corvane
