#pragma once

#include <map>
#include <string>

namespace corvane {

/// The response of one exchange, not interpreted: a 500 is a response like any other.
struct HTTPResponse {
  /// The HTTP status; -1 where the response is not HTTP.
  int statusCode = -1;
  std::string body{};
  /// The body was longer than the transport keeps; `body` is its beginning.
  bool bodyIsTruncated = false;
  /// Names in lower case. Of two equal names the later one is kept.
  std::map<std::string, std::string> headers{};
};

}  // namespace corvane
