#include "corvane/CorvaneDeepLink.h"

#include <utility>

CorvaneDeepLink::CorvaneDeepLink(Text slug, Text url, Text deepLinkPath, Text iosURL, Text androidURL,
                                 Text fallbackURL, Text campaign, Text channel, Map utm, Map customData)
    : slug_(std::move(slug)),
      url_(std::move(url)),
      deepLinkPath_(std::move(deepLinkPath)),
      iosURL_(std::move(iosURL)),
      androidURL_(std::move(androidURL)),
      fallbackURL_(std::move(fallbackURL)),
      campaign_(std::move(campaign)),
      channel_(std::move(channel)),
      utm_(std::move(utm)),
      customData_(std::move(customData)) {}

std::string CorvaneDeepLink::path() const {
  return deepLinkPath_ && !deepLinkPath_->empty() ? *deepLinkPath_ : "/";
}

bool CorvaneDeepLink::hasRoutableDestination() const noexcept {
  return deepLinkPath_ && !deepLinkPath_->empty() && *deepLinkPath_ != "/";
}
