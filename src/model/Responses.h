#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/CorvaneDeepLink.h"
#include "model/CustomData.h"

namespace corvane {

/// The backend's responses. The field names are the JSON names; the public records use other names.

/// A resolved tracking link.
struct DeepLinkDTO {
  std::optional<std::string> slug;
  std::optional<std::string> url;
  std::optional<std::string> deepLinkPath;
  std::optional<std::string> iosUrl;
  std::optional<std::string> androidUrl;
  std::optional<std::string> fallbackUrl;
  std::optional<std::string> campaign;
  std::optional<std::string> channel;
  std::optional<CustomData> utm;
  std::optional<CustomData> customData;
};

/// The response to an install or an open.
struct EventResultDTO {
  std::optional<std::int64_t> id;
  bool attributed = false;
  std::optional<DeepLinkDTO> deepLink;
};

/// The response to an event.
struct EventAckDTO {
  std::optional<std::int64_t> id;
  bool attributed = false;
};

/// Decode a response's body. Throw `DecodingFailure`.
DeepLinkDTO decodeDeepLink(std::string_view bytes);
EventResultDTO decodeEventResult(std::string_view bytes);
EventAckDTO decodeEventAck(std::string_view bytes);

/// The public record of a wire link, field by field, nothing trimmed or defaulted.
CorvaneDeepLink toDeepLink(DeepLinkDTO link);

}  // namespace corvane
