#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// The client's requests. An absent optional field is left out of the object; `null` is never written. The
/// field names are the JSON names.

struct InstallRequest {
  std::string identifier;
  std::string platform;
  std::optional<std::string> clickId;
  std::optional<std::string> deviceId;
  bool consent = false;
};

struct OpenRequest {
  std::string identifier;
  std::optional<std::string> platform;
  std::optional<std::string> clickId;
  std::optional<std::string> deviceId;
  std::optional<std::string> host;
  std::optional<std::string> slug;
};

/// Also the element of the stored event queue, so that it alone is read back.
struct EventRequest {
  std::string identifier;
  std::string name;
  std::optional<double> value{};
  std::optional<std::string> currency{};
  std::optional<std::string> platform{};
  std::optional<std::string> clickId{};
  std::optional<std::string> deviceId{};

  friend bool operator==(const EventRequest&, const EventRequest&) = default;
};

/// Compact JSON in UTF-8. Throw `EncodingFailure` where a text is not UTF-8 or the value is not finite.
std::string encode(const InstallRequest& request);
std::string encode(const OpenRequest& request);
std::string encode(const EventRequest& request);

}  // namespace corvane
