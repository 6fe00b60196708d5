#pragma once

#include <memory>
#include <string>

#include "foundation/KeyValueStringStore.h"
#include "platform/preferences/UserDefaults.h"

namespace corvane::platform {

/// Texts in the preferences, each under the prefix, a full stop and its key.
class UserDefaultsStringStore : public KeyValueStringStore {
 public:
  UserDefaultsStringStore(std::shared_ptr<UserDefaults> defaults, std::string prefix);

  std::optional<std::string> stringForKey(std::string_view key) const override;
  std::string stringForKeyOrStore(std::string_view key, const std::function<std::string()>& make) override;
  void setString(std::string_view value, std::string_view key) override;
  void removeValue(std::string_view key) override;

 private:
  std::string fullKey(std::string_view key) const;

  std::shared_ptr<UserDefaults> defaults_;
  std::string prefix_;
};

}  // namespace corvane::platform
