#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// What a request is for, which decides over which connections it goes.
enum class Traffic {
  interactive,  ///< Somebody waits for the response: installs, opens and resolves.
  event,        ///< One of several events.
  loneEvent,    ///< No other event waits or is in flight, so it may take a connection of `interactive`.
};

/// One HTTP request as it goes to the transport, which sends it unchanged.
struct URLRequest {
  using Header = std::pair<std::string, std::string>;

  /// Absolute, already percent-encoded.
  std::string url;
  std::string method = "GET";
  /// In the order they are sent. An empty value is sent as an empty header.
  std::vector<Header> headers{};
  std::optional<std::string> body{};
  /// The longest time that may pass without a byte in either direction. The whole exchange is bounded by the
  /// session's own limits.
  std::chrono::seconds timeoutInterval{60};
  Traffic traffic = Traffic::interactive;
};

}  // namespace corvane
