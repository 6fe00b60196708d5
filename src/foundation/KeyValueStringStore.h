#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Texts that survive a restart. Safe to use from any thread; no operation fails or throws.
class KeyValueStringStore {
 public:
  virtual ~KeyValueStringStore() = default;

  /// None when the key is absent or holds something other than a text.
  virtual std::optional<std::string> stringForKey(std::string_view key) const = 0;
  virtual void setString(std::string_view value, std::string_view key) = 0;
  virtual void removeValue(std::string_view key) = 0;
};

}  // namespace corvane
