#pragma once

#include <map>
#include <optional>
#include <string>

#include "corvane/CorvaneExport.h"

/// A resolved tracking link. An immutable value; copies may be used on different threads.
///
/// Every field is optional. An absent field and an empty text are different values, and so are an absent and
/// an empty map.
class CORVANE_API CorvaneDeepLink {
 public:
  using Text = std::optional<std::string>;
  using Map = std::optional<std::map<std::string, std::string>>;

  CorvaneDeepLink(Text slug, Text url, Text deepLinkPath, Text iosURL, Text androidURL, Text fallbackURL,
                  Text campaign, Text channel, Map utm, Map customData);

  /// The link's slug: the first path segment of its URL.
  const Text& slug() const noexcept { return slug_; }
  /// The link's own URL.
  const Text& url() const noexcept { return url_; }
  /// The path inside the application that the host opens.
  const Text& deepLinkPath() const noexcept { return deepLinkPath_; }
  /// The destination for iOS.
  const Text& iosURL() const noexcept { return iosURL_; }
  /// The destination for Android.
  const Text& androidURL() const noexcept { return androidURL_; }
  /// The destination when no path inside the application applies.
  const Text& fallbackURL() const noexcept { return fallbackURL_; }
  /// The campaign's name.
  const Text& campaign() const noexcept { return campaign_; }
  /// The channel's name.
  const Text& channel() const noexcept { return channel_; }
  /// Tracking parameters.
  const Map& utm() const noexcept { return utm_; }
  /// Data of the link's author. Numbers, Booleans and nulls in the backend's response are converted to text
  /// ("2.5", "true", "").
  const Map& customData() const noexcept { return customData_; }

  /// Returns `deepLinkPath` unchanged when it is present and not empty; otherwise "/".
  std::string path() const;

  /// Returns whether `path()` differs from "/".
  bool hasRoutableDestination() const noexcept;

  friend bool operator==(const CorvaneDeepLink&, const CorvaneDeepLink&) = default;

 private:
  Text slug_, url_, deepLinkPath_, iosURL_, androidURL_, fallbackURL_, campaign_, channel_;
  Map utm_, customData_;
};
