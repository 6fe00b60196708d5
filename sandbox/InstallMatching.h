#pragma once

#include <optional>
#include <string>

#include "Store.h"

namespace corvane::sandbox {

/// The click that an install is attributed to. Without a click it is organic.
struct InstallMatch {
  std::string how = "organic";  // or "deterministic", "probabilistic"
  std::optional<Click> click = {};
};

/// Finds the click of an install, in this order: the click with the install's token, unless it is matched
/// with another owner; the click that this owner was matched with before, so that a match made without
/// consent stays; the most recent free click of the last hour. The click is then matched with the owner;
/// without an owner it stays free.
InstallMatch matchInstall(Store& store, const std::string& owner, const std::optional<std::string>& token,
                          double now);

}  // namespace corvane::sandbox
