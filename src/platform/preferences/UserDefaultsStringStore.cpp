#include "platform/preferences/UserDefaultsStringStore.h"

#include <utility>

namespace corvane::platform {

UserDefaultsStringStore::UserDefaultsStringStore(std::shared_ptr<UserDefaults> defaults, std::string prefix)
    : defaults_(std::move(defaults)), prefix_(std::move(prefix)) {}

std::optional<std::string> UserDefaultsStringStore::stringForKey(std::string_view key) const {
  return defaults_->stringForKey(fullKey(key));
}

std::string UserDefaultsStringStore::stringForKeyOrStore(std::string_view key,
                                                         const std::function<std::string()>& make) {
  return defaults_->stringForKeyOrStore(fullKey(key), make);
}

void UserDefaultsStringStore::setString(std::string_view value, std::string_view key) {
  defaults_->setString(value, fullKey(key));
}

void UserDefaultsStringStore::removeValue(std::string_view key) {
  defaults_->removeObjectForKey(fullKey(key));
}

std::string UserDefaultsStringStore::fullKey(std::string_view key) const {
  return (prefix_ + ".").append(key);
}

}  // namespace corvane::platform
