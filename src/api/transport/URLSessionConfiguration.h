#pragma once

#include <chrono>
#include <string>

namespace corvane::platform {

/// How a `URLSession` performs its exchanges. A plain value.
struct URLSessionConfiguration {
  /// Seconds. The shorter of the two bounds the whole exchange: redirects and the wait for connectivity
  /// included. (Silence alone is bounded by the request's own `timeoutInterval`.)
  double timeoutIntervalForRequest = 60;
  double timeoutIntervalForResource = 604800;
  /// Without a network, wait for one (within the time-out) instead of failing at once.
  bool waitsForConnectivity = false;
  /// A PEM file with the only certificate authorities to trust. Empty: the system's authorities.
  std::string certificateAuthorityFile{};

  static URLSessionConfiguration default_() { return {}; }

  /// The bound of one whole exchange in what libcurl counts in: at least one millisecond (zero would mean
  /// "none" there; zero, negative and not-a-number intervals end here too), at most about 24 days.
  std::chrono::milliseconds exchangeTimeout() const;
};

}  // namespace corvane::platform
