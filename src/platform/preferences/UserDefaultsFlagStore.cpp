#include "platform/preferences/UserDefaultsFlagStore.h"

#include <utility>

namespace corvane::platform {

UserDefaultsFlagStore::UserDefaultsFlagStore(std::shared_ptr<UserDefaults> defaults, std::string prefix)
    : defaults_(std::move(defaults)), prefix_(std::move(prefix)) {}

bool UserDefaultsFlagStore::boolForKey(std::string_view key) const {
  return defaults_->boolForKey(fullKey(key));
}

void UserDefaultsFlagStore::setBool(bool value, std::string_view key) {
  defaults_->setBool(value, fullKey(key));
}

std::optional<std::string> UserDefaultsFlagStore::dataForKey(std::string_view key) const {
  return defaults_->dataForKey(fullKey(key));
}

void UserDefaultsFlagStore::setData(const std::optional<std::string>& value, std::string_view key) {
  defaults_->setData(value, fullKey(key));
}

void UserDefaultsFlagStore::removeValue(std::string_view key) {
  defaults_->removeObjectForKey(fullKey(key));
}

DataUpdates::Result UserDefaultsFlagStore::updateData(std::string_view key, const Change& change, Wait wait) {
  return defaults_->updateData(fullKey(key), change, wait);
}

std::string UserDefaultsFlagStore::fullKey(std::string_view key) const {
  return (prefix_ + ".").append(key);
}

}  // namespace corvane::platform
