#include "platform/SKANManager.h"

#include <string>
#include <utility>

namespace corvane::platform {
namespace {

CorvaneCoarseConversionValue systemValue(std::optional<CorvaneCoarseConversionValue> coarse) {
  switch (coarse.value_or(CorvaneCoarseConversionValue::low)) {
    case CorvaneCoarseConversionValue::medium:
      return SKAdNetworkCoarseConversionValueMedium;
    case CorvaneCoarseConversionValue::high:
      return SKAdNetworkCoarseConversionValueHigh;
    case CorvaneCoarseConversionValue::low:
      break;
  }
  return SKAdNetworkCoarseConversionValueLow;
}

void logOutcome(const CorvaneLogger& logger, const std::optional<std::string>& error,
                std::string_view success) {
  if (error) {
    logger.error([&] { return "SKAdNetwork: " + *error; });
  } else {
    logger.info([&] { return "SKAdNetwork: " + std::string(success); });
  }
}

}  // namespace

void SKANManager::register_() const {
  switch (adNetworkGeneration(systemVersion)) {
    case AdNetworkGeneration::current:
      return logger.debug([] {
        return "SKAdNetwork: AdAttributionKit available (iOS 16.1+); no explicit registration required";
      });
    case AdNetworkGeneration::intermediate:
      return system.updatePostbackConversionValue(0, logged("registered with conversion value 0"));
    case AdNetworkGeneration::legacy:
      return registerLegacy("registered for ad network attribution");
  }
}

void SKANManager::updateConversionValue(std::int64_t value,
                                        std::optional<CorvaneCoarseConversionValue> coarse) const {
  const std::string updated = "updated conversion value " + std::to_string(value);
  switch (adNetworkGeneration(systemVersion)) {
    case AdNetworkGeneration::current: {
      const CorvaneCoarseConversionValue passed = systemValue(coarse);
      return system.updatePostbackConversionValue(
          value, passed, logged(updated + " (" + std::string(passed.rawValue()) + ")"));
    }
    case AdNetworkGeneration::intermediate:
      return system.updatePostbackConversionValue(value, logged(updated));
    case AdNetworkGeneration::legacy:
      return registerLegacy("registered (legacy; conversion values unsupported)");
  }
}

void SKANManager::registerLegacy(const char* success) const {
  logOutcome(logger, system.registerAppForAdNetworkAttribution(), success);
}

SKAdNetwork::Completion SKANManager::logged(std::string success) const {
  return [logger = logger, success = std::move(success)](const std::optional<std::string>& error) {
    logOutcome(logger, error, success);
  };
}

}  // namespace corvane::platform
