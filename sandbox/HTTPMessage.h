#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::sandbox {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

/// One request. Nothing is decoded.
struct Request {
  std::string method;
  std::string path;    // the target up to the first '?'
  std::string query;   // what follows the '?'
  std::string origin;  // "http://" or "https://", then the Host header (the server's own address without one)
  std::string host;    // the Host header, empty without one
  HeaderList headers;  // names in lower case, in the request's order
  std::string body;

  /// The value of the first header with that lower-case name, or null.
  const std::string* header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
      if (key == name) return &value;
    }
    return nullptr;
  }
};

/// How a response is sent. Anything but the defaults simulates a failing network.
struct Delivery {
  enum class Ending { answer, reset, silence };
  Ending ending =
      Ending::answer;  // reset: the connection is reset; silence: it stays open without a response
  std::chrono::milliseconds delay{0};      // before anything is sent, or before the reset
  std::chrono::milliseconds byteDelay{0};  // after each byte
};

struct Response {
  unsigned status = 200;
  HeaderList headers = {};
  std::string body = {};
  Delivery delivery = {};
  bool eventStream = false;  // the body begins a stream, which EventStreams::publish continues
};

}  // namespace corvane::sandbox
