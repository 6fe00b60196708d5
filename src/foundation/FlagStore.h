#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Flags and byte blobs that survive a restart. Safe to use from any thread; no operation fails or throws.
///
/// Keys are short names such as `install_tracked`; an implementation puts its namespace before them.
class FlagStore {
 public:
  virtual ~FlagStore() = default;

  /// False when the key is absent or holds something other than a Bool.
  virtual bool boolForKey(std::string_view key) const = 0;
  virtual void setBool(bool value, std::string_view key) = 0;

  /// None when the key is absent or holds something other than bytes.
  virtual std::optional<std::string> dataForKey(std::string_view key) const = 0;
  /// Stores the bytes; none removes the key.
  virtual void setData(const std::optional<std::string>& value, std::string_view key) = 0;

  virtual void removeValue(std::string_view key) = 0;
};

}  // namespace corvane
