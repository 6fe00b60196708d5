#include "InstallMatching.h"

namespace corvane::sandbox {
namespace {

constexpr double probabilisticWindow = 60 * 60;  // seconds

InstallMatch find(Store& store, const std::string& owner, const std::optional<std::string>& token,
                  double now) {
  if (token) {
    if (auto click = store.clickByToken(*token, owner)) return {"deterministic", click};
  }
  if (!owner.empty()) {
    if (auto click = store.clickOfOwner(owner)) return {click->match, click};
  }
  if (auto click = store.latestFreeClick(now - probabilisticWindow)) return {"probabilistic", click};
  return {};
}

}  // namespace

InstallMatch matchInstall(Store& store, const std::string& owner, const std::optional<std::string>& token,
                          double now) {
  InstallMatch match = find(store, owner, token, now);
  if (match.click && !owner.empty()) store.giveClick(match.click->id, owner, match.how);
  return match;
}

}  // namespace corvane::sandbox
