#pragma once

#include <cstdint>
#include <optional>

#include "corvane/CorvaneCoarseConversionValue.h"
#include "corvane/CorvaneOSVersion.h"
#include "foundation/CorvaneLogger.h"
#include "platform/SKAdNetwork.h"

namespace corvane::platform {

/// What the ad network of a system can do.
enum class AdNetworkGeneration {
  legacy,        ///< Below 15.4: registration only.
  intermediate,  ///< Below 16.1: fine values.
  current,       ///< Fine and coarse values, without a registration.
};

constexpr AdNetworkGeneration adNetworkGeneration(CorvaneOSVersion version) {
  if (version >= CorvaneOSVersion{16, 1}) return AdNetworkGeneration::current;
  if (version >= CorvaneOSVersion{15, 4}) return AdNetworkGeneration::intermediate;
  return AdNetworkGeneration::legacy;
}

/// Ad-network attribution by what the system can do. A value without mutable state; usable from any thread.
/// Outcomes reach the log only, on the thread where the provider tells them, and need no client any more.
struct SKANManager {
  CorvaneLogger logger;
  SKAdNetwork system;
  CorvaneOSVersion systemVersion;

  void register_() const;
  void updateConversionValue(std::int64_t value, std::optional<CorvaneCoarseConversionValue> coarse) const;

 private:
  void registerLegacy(const char* success) const;
  SKAdNetwork::Completion logged(std::string success) const;
};

}  // namespace corvane::platform
