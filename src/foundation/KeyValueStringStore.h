#pragma once

#include <functional>
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
  /// The text of `key`; where there is none, or an empty one, the text that `make` returns, which is stored.
  /// One step with respect to every thread and process that shares the store: all of them get the same text.
  /// If another process holds the store for too long, the text may be known to this process only, until the
  /// store can be written and has none by then. `make` is called at most once and must not use the store.
  virtual std::string stringForKeyOrStore(std::string_view key, const std::function<std::string()>& make) = 0;
  virtual void setString(std::string_view value, std::string_view key) = 0;
  virtual void removeValue(std::string_view key) = 0;
};

}  // namespace corvane
