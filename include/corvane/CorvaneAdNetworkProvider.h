#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "corvane/CorvaneCoarseConversionValue.h"
#include "corvane/CorvaneExport.h"

/// The system's ad-network attribution, as the host supplies it: the operations of Apple's `SKAdNetwork`.
/// Which of them are used depends on `CorvanePlatform::operatingSystemVersion`.
///
/// All are called on the thread that called `Corvane::registerForSKAdAttribution` or
/// `Corvane::updateConversionValue`, perhaps on several at once, under no lock of the library, and should
/// return at once. What they throw before they have answered is logged as their error. The library shares
/// ownership with the client.
class CORVANE_API CorvaneAdNetworkProvider {
 public:
  /// Called once with the error's description in the user's language, or none for success, on any thread,
  /// also within the call that it was handed to. Later calls have no effect; one that never comes leaves no
  /// trace.
  using Completion = std::function<void(std::optional<std::string> error)>;

  virtual ~CorvaneAdNetworkProvider();

  /// Registers the application for attribution. Before 15.4.
  virtual void registerAppForAdNetworkAttribution() = 0;

  /// Sets the fine value, as the host gave it. From 15.4, before 16.1.
  virtual void updatePostbackConversionValue(std::int64_t fineValue, Completion completion) = 0;

  /// Sets the fine and the coarse value. From 16.1.
  virtual void updatePostbackConversionValue(std::int64_t fineValue, CorvaneCoarseConversionValue coarseValue,
                                             Completion completion) = 0;
};
