#pragma once

#include <string>
#include <string_view>

#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneEventResult.h"

/// The JSON form of the public results. The one of `CorvaneAttribution` is what `last_attribution` stores.
///
///   attribution = { "id": integer?, "attributed": boolean, "deepLink": link? }
///   result      = { "id": integer?, "attributed": boolean }
///   link        = { "slug" | "url" | "deepLinkPath" | "iosURL" | "androidURL" | "fallbackURL" | "campaign" |
///                   "channel": string?, "utm" | "customData": { name: string, … }? }
///
/// An absent field is left out; unknown names are ignored. The three URL names differ from the backend's.
namespace corvane {

/// Throw `EncodingFailure` where a text is not UTF-8, which no text of the backend's is.
std::string encode(const CorvaneDeepLink& link);
std::string encode(const CorvaneAttribution& attribution);
std::string encode(const CorvaneEventResult& result);

/// Throw `DecodingFailure`.
CorvaneDeepLink decodeStoredDeepLink(std::string_view bytes);
CorvaneAttribution decodeStoredAttribution(std::string_view bytes);
CorvaneEventResult decodeStoredEventResult(std::string_view bytes);

}  // namespace corvane
