#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "corvane/CorvaneCoarseConversionValue.h"
#include "corvane/CorvaneExport.h"

/// The system's ad-network attribution. The host implements it. The operations are those of Apple's
/// `SKAdNetwork`; which of them are called depends on `CorvanePlatform::operatingSystemVersion`.
///
/// Threads: all operations are called on the thread that called `Corvane::registerForSKAdAttribution` or
/// `Corvane::updateConversionValue`, possibly on several threads at once, without a lock of the library. They
/// should return at once. Errors: an exception that is thrown before `completion` is called is logged as the
/// operation's error. Ownership: the client shares it.
class CORVANE_API CorvaneAdNetworkProvider {
 public:
  /// Receives the description of the error in the user's language, or nullopt for success. May be called on
  /// any thread, also inside the operation that received it. Later calls have no effect. When it is never
  /// called, nothing is logged.
  using Completion = std::function<void(std::optional<std::string> error)>;

  virtual ~CorvaneAdNetworkProvider();

  /// Registers the application for attribution. Called before version 15.4.
  virtual void registerAppForAdNetworkAttribution() = 0;

  /// Sets the fine value, unchecked. Called from version 15.4, before 16.1.
  virtual void updatePostbackConversionValue(std::int64_t fineValue, Completion completion) = 0;

  /// Sets the fine and the coarse value. Called from version 16.1.
  virtual void updatePostbackConversionValue(std::int64_t fineValue, CorvaneCoarseConversionValue coarseValue,
                                             Completion completion) = 0;
};
