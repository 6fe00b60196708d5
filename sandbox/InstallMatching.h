#pragma once

#include <optional>
#include <string>

#include "Store.h"

namespace corvane::sandbox {

/// The click that an install is attributed to; without one it is organic.
struct InstallMatch {
  std::string how = "organic";  // or "deterministic", "probabilistic"
  std::optional<Click> click = {};
};

/// Finds the click of an install. In this order: the click whose token the install carries, unless another
/// owner has it; the click that the same owner had before (so that a match made without consent stays that
/// device's match); the most recent click of the last hour that nobody has. A click that is found becomes the
/// owner's; an install that tells no owner leaves it free.
InstallMatch matchInstall(Store& store, const std::string& owner, const std::optional<std::string>& token,
                          double now);

}  // namespace corvane::sandbox
