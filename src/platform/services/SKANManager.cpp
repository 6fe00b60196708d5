#include "platform/services/SKANManager.h"

#include <exception>
#include <utility>

#include "foundation/AnsweredOnce.h"

CorvaneAdNetworkProvider::~CorvaneAdNetworkProvider() = default;

namespace corvane::platform {
namespace {

using Error = std::optional<std::string>;
using Completion = CorvaneAdNetworkProvider::Completion;

/// Calls the provider and returns the description of what it throws.
template <class Call>
Error attempt(CorvaneAdNetworkProvider* provider, const Call& call) {
  if (provider == nullptr) return "This system has no ad network.";
  try {
    call(*provider);
    return std::nullopt;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown error";
  }
}

void logOutcome(const CorvaneLogger& logger, const Error& error, const std::string& success) {
  if (error) {
    logger.error([&] { return "SKAdNetwork: " + *error; });
  } else {
    logger.info([&] { return "SKAdNetwork: " + success; });
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
      return updateFineValue(0, "registered with conversion value 0");
    case AdNetworkGeneration::legacy:
      return registerLegacy("registered for ad network attribution");
  }
}

void SKANManager::updateConversionValue(std::int64_t value,
                                        std::optional<CorvaneCoarseConversionValue> coarse) const {
  const std::string updated = "updated conversion value " + std::to_string(value);
  switch (adNetworkGeneration(systemVersion)) {
    case AdNetworkGeneration::current: {
      const auto passed = coarse.value_or(CorvaneCoarseConversionValue::low);
      return update(updated + " (" + std::string(passed.rawValue()) + ")",
                    [&](CorvaneAdNetworkProvider& system, Completion completion) {
                      system.updatePostbackConversionValue(value, passed, std::move(completion));
                    });
    }
    case AdNetworkGeneration::intermediate:
      return updateFineValue(value, updated);
    case AdNetworkGeneration::legacy:
      return registerLegacy("registered (legacy; conversion values unsupported)");
  }
}

void SKANManager::registerLegacy(const char* success) const {
  const auto call = [](CorvaneAdNetworkProvider& system) { system.registerAppForAdNetworkAttribution(); };
  logOutcome(logger, attempt(provider.get(), call), success);
}

void SKANManager::updateFineValue(std::int64_t value, const std::string& success) const {
  update(success, [value](CorvaneAdNetworkProvider& system, Completion completion) {
    system.updatePostbackConversionValue(value, std::move(completion));
  });
}

/// Logs the first outcome: what the provider answers, or what it throws before.
template <class Update>
void SKANManager::update(const std::string& success, const Update& update) const {
  const auto answer = answeredOnce<Error>(
      [logger = logger, success](const Error& error) { logOutcome(logger, error, success); });
  auto error =
      attempt(provider.get(), [&](CorvaneAdNetworkProvider& system) { update(system, Completion(answer)); });
  if (error) answer(std::move(error));
}

}  // namespace corvane::platform
