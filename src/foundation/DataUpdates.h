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

  /// How long an update waits for another process that holds the store.
  enum class Wait {
    usual,  ///< as long as other accesses do
    brief,  ///< 25 ms at most, for a caller that tries again: being busy is no problem to report then
  };

  /// What became of an update. Nothing is changed unless it is done.
  enum class Result {
    done,
    busy,    ///< another process held the store for the whole wait; a later call may succeed
    failed,  ///< the store cannot be written: a full disk, a read-only place, …
  };

  virtual ~DataUpdates() = default;

  /// Replaces the bytes of `key` by what `change` makes of them. `change` may be called more than once, must
  /// not throw, and must not touch the store.
  virtual Result updateData(std::string_view key, const Change& change, Wait wait) = 0;
};

}  // namespace corvane
