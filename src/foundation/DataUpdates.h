#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Changes stored bytes as one step with respect to every other client and process that shares them: what a
/// read followed by a write cannot do. Safe to use from any thread; nothing throws.
class DataUpdates {
 public:
  /// The bytes that are to be stored in place of those given; none stands for an absent key.
  using Change = std::function<std::optional<std::string>(const std::optional<std::string>&)>;

  virtual ~DataUpdates() = default;

  /// Replaces the bytes of `key` by what `change` makes of them. False when that was not possible within a
  /// bounded time: nothing is changed then. `change` may be called more than once, must not throw, and must
  /// not touch the store.
  virtual bool updateData(std::string_view key, const Change& change) = 0;
};

}  // namespace corvane
