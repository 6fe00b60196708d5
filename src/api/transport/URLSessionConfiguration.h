#pragma once

#include <chrono>
#include <string>

namespace corvane::platform {

/// How a `URLSession` performs its exchanges. A plain value.
struct URLSessionConfiguration {
  /// Seconds. The shorter of the two limits the whole exchange, including redirects and the wait for
  /// connectivity, but not the time in which it waits for a connection or the process does not run. The
  /// request's own `timeoutInterval` limits the time to connect and the time in which no data is transferred.
  double timeoutIntervalForRequest = 60;
  double timeoutIntervalForResource = 604800;
  /// Without a network, wait for one until the time-out instead of failing at once.
  bool waitsForConnectivity = false;
  /// A PEM file with the only certificate authorities to trust, for servers and for a proxy of the scheme
  /// https. When empty, the system's authorities.
  std::string certificateAuthorityFile{};
  /// The URL of a proxy for all hosts but loopback (`TransportProxy.h`). When empty, no proxy. The
  /// environment has no influence.
  std::string proxy{};

  static URLSessionConfiguration default_() { return {}; }

  /// The time-out of one whole exchange: at least 1 ms, which intervals that are zero, negative or not a
  /// number become, and at most about 24 days.
  std::chrono::milliseconds exchangeTimeout() const;
};

}  // namespace corvane::platform
