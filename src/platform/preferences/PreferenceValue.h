#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>

namespace corvane::platform {

struct PreferenceBytes {
  std::string bytes;
  bool operator==(const PreferenceBytes&) const = default;
};

/// A Bool, a text or bytes, each kept as given (text may hold NULs and need not be valid UTF-8).
using PreferenceValue = std::variant<bool, std::string, PreferenceBytes>;

/// Values by their keys; none for an absent one.
using PreferenceValues = std::map<std::string, std::optional<PreferenceValue>, std::less<>>;

/// What to store under a key.
struct PreferenceChange {
  /// None removes the key.
  std::optional<PreferenceValue> value;
  /// Leaves a text that the key has, unless that is empty.
  bool onlyIfAbsent = false;
};

using PreferenceChanges = std::map<std::string, PreferenceChange, std::less<>>;

}  // namespace corvane::platform
