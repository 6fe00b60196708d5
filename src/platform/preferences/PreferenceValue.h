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

/// What to store under each key; none removes it.
using PreferenceChanges = std::map<std::string, std::optional<PreferenceValue>, std::less<>>;

}  // namespace corvane::platform
