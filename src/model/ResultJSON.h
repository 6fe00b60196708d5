#pragma once

#include <string>
#include <string_view>

#include "corvane/CorvaneAttribution.h"

/// The JSON form of an attribution result, as it is stored under `last_attribution`.
///
///   attribution = { "id": integer?, "attributed": boolean, "deepLink": link? }
///   link        = { "slug" | "url" | "deepLinkPath" | "iosURL" | "androidURL" | "fallbackURL" | "campaign" |
///                   "channel": string?, "utm" | "customData": { name: string, … }? }
///
/// An absent field is left out; unknown names are ignored. The three URL names differ from the backend's.
namespace corvane {

/// Throws `EncodingFailure` where a text is not UTF-8. The backend's texts always are.
std::string encode(const CorvaneAttribution& attribution);

/// Throws `DecodingFailure`.
CorvaneAttribution decodeStoredAttribution(std::string_view bytes);

}  // namespace corvane
