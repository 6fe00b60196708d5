#include "core/Consent.h"

#include "foundation/StoreKeys.h"

namespace corvane {

ConsentState Consent::consentState() const {
  if (!flagStore->boolForKey(keys::consentSet)) return ConsentState::notSet;
  return flagStore->boolForKey(keys::consentGranted) ? ConsentState::granted : ConsentState::denied;
}

bool Consent::hasConsent() const {
  return !required || consentState() == ConsentState::granted;
}

void Consent::store(bool isGranted) const {
  flagStore->setBool(true, keys::consentSet);
  flagStore->setBool(isGranted, keys::consentGranted);
}

}  // namespace corvane
