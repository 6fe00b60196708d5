#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "corvane/CorvaneAdNetworkProvider.h"

namespace corvane::platform {

// The system's constants. A provider knows them as the public type.
inline constexpr CorvaneCoarseConversionValue SKAdNetworkCoarseConversionValueLow =
    CorvaneCoarseConversionValue::low;
inline constexpr CorvaneCoarseConversionValue SKAdNetworkCoarseConversionValueMedium =
    CorvaneCoarseConversionValue::medium;
inline constexpr CorvaneCoarseConversionValue SKAdNetworkCoarseConversionValueHigh =
    CorvaneCoarseConversionValue::high;

/// The system's ad-network attribution, from the host's provider; without one, a service that answers
/// everything with an error. A value; usable from any thread.
///
/// Completions are called at most once, on any thread, also within the call, with the error's description or
/// none. What a provider throws is its error.
class SKAdNetwork {
 public:
  using Completion = std::function<void(std::optional<std::string> error)>;

  explicit SKAdNetwork(std::shared_ptr<CorvaneAdNetworkProvider> provider) : provider_(std::move(provider)) {}

  /// Gives the error's description or none: here the provider has no completion to call.
  std::optional<std::string> registerAppForAdNetworkAttribution() const;
  void updatePostbackConversionValue(std::int64_t fineValue, Completion completion) const;
  void updatePostbackConversionValue(std::int64_t fineValue, CorvaneCoarseConversionValue coarseValue,
                                     Completion completion) const;

 private:
  std::shared_ptr<CorvaneAdNetworkProvider> provider_;
};

}  // namespace corvane::platform
