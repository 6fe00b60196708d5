#pragma once

#include <map>
#include <string>

namespace corvane {

/// What came back from one exchange, unjudged: a 500 is a response like any other.
struct HTTPResponse {
  /// The HTTP status; -1 where the answer is not HTTP.
  int statusCode = -1;
  std::string body{};
  /// Names in lower case. Of two equal names the later one is kept.
  std::map<std::string, std::string> headers{};
};

}  // namespace corvane
