#pragma once

#include <memory>
#include <string>

#include "foundation/DataUpdates.h"
#include "foundation/FlagStore.h"
#include "platform/preferences/UserDefaults.h"

namespace corvane::platform {

/// Flags and bytes in the preferences, each under the prefix, a full stop and its key.
class UserDefaultsFlagStore : public FlagStore, public DataUpdates {
 public:
  UserDefaultsFlagStore(std::shared_ptr<UserDefaults> defaults, std::string prefix);

  bool boolForKey(std::string_view key) const override;
  void setBool(bool value, std::string_view key) override;
  std::optional<std::string> dataForKey(std::string_view key) const override;
  void setData(const std::optional<std::string>& value, std::string_view key) override;
  void removeValue(std::string_view key) override;
  Result updateData(std::string_view key, const Change& change, Wait wait) override;

 private:
  std::string fullKey(std::string_view key) const;

  std::shared_ptr<UserDefaults> defaults_;
  std::string prefix_;
};

}  // namespace corvane::platform
