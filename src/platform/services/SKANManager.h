#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "corvane/CorvaneAdNetworkProvider.h"
#include "corvane/CorvaneCoarseConversionValue.h"
#include "corvane/CorvaneOSVersion.h"
#include "foundation/CorvaneLogger.h"

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

/// Ad-network attribution by what the system can do, from the host's provider. Without a provider every call
/// is answered with an error.
///
/// A value without mutable state; usable from any thread. Outcomes reach the log only, on the thread where
/// the provider reports them, and need no client any more. What a provider throws is its error.
struct SKANManager {
  CorvaneLogger logger;
  std::shared_ptr<CorvaneAdNetworkProvider> provider;
  CorvaneOSVersion systemVersion;

  void register_() const;
  void updateConversionValue(std::int64_t value, std::optional<CorvaneCoarseConversionValue> coarse) const;

 private:
  void registerLegacy(const char* success) const;
  void updateFineValue(std::int64_t value, const std::string& success) const;
  template <class Update>
  void update(const std::string& success, const Update& update) const;
};

}  // namespace corvane::platform
