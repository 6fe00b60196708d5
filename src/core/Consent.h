#pragma once

#include <memory>

#include "foundation/FlagStore.h"

namespace corvane {

enum class ConsentState { notSet, granted, denied };

/// The user's stored consent, and what it means for this client. Reads the store on every call, so that it
/// reflects the latest decision, made through any client or in an earlier run. Usable from any thread.
struct Consent {
  std::shared_ptr<FlagStore> flagStore;
  bool required = false;

  ConsentState consentState() const;

  /// Whether counting and recording are allowed: always where consent is not required, otherwise only when
  /// granted.
  bool hasConsent() const;

  void store(bool isGranted) const;
};

}  // namespace corvane
