#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/DataUpdates.h"
#include "foundation/FlagStore.h"
#include "foundation/KeyValueStringStore.h"

namespace corvane::test {

/// Flags and bytes in memory. Any thread.
class MemoryFlagStore : public FlagStore, public DataUpdates {
 public:
  bool boolForKey(std::string_view key) const override {
    const std::lock_guard lock(mutex_);
    const auto found = flags_.find(key);
    return found != flags_.end() && found->second;
  }

  void setBool(bool value, std::string_view key) override {
    const std::lock_guard lock(mutex_);
    forget(key);
    flags_.emplace(key, value);
  }

  std::optional<std::string> dataForKey(std::string_view key) const override {
    const std::lock_guard lock(mutex_);
    const auto found = data_.find(key);
    return found == data_.end() ? std::nullopt : std::optional(found->second);
  }

  void setData(const std::optional<std::string>& value, std::string_view key) override {
    const std::lock_guard lock(mutex_);
    forget(key);
    if (value) data_.emplace(key, *value);
  }

  void removeValue(std::string_view key) override {
    const std::lock_guard lock(mutex_);
    forget(key);
  }

  Result updateData(std::string_view key, const Change& change, Wait) override {
    const std::lock_guard lock(mutex_);
    if (held) return Result::busy;
    const auto found = data_.find(key);
    const auto after = change(found == data_.end() ? std::nullopt : std::optional(found->second));
    forget(key);
    if (after) data_.emplace(key, *after);
    ++updates;
    return Result::done;
  }

  /// As if another process held the file: no update succeeds.
  std::atomic<bool> held = false;
  std::atomic<int> updates = 0;

 private:
  void forget(std::string_view key) {
    flags_.erase(std::string(key));
    data_.erase(std::string(key));
  }

  mutable std::mutex mutex_;
  std::map<std::string, bool, std::less<>> flags_;
  std::map<std::string, std::string, std::less<>> data_;
};

/// Texts in memory. Any thread.
class MemoryStringStore : public KeyValueStringStore {
 public:
  std::optional<std::string> stringForKey(std::string_view key) const override {
    return texts_.dataForKey(key);
  }
  std::string stringForKeyOrStore(std::string_view key, const std::function<std::string()>& make) override {
    texts_.updateData(key, [&](const auto& text) { return text && !text->empty() ? text : make(); }, {});
    return *texts_.dataForKey(key);
  }
  void setString(std::string_view value, std::string_view key) override {
    texts_.setData(std::string(value), key);
  }
  void removeValue(std::string_view key) override { texts_.removeValue(key); }

 private:
  MemoryFlagStore texts_;
};

}  // namespace corvane::test
