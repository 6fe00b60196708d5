#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "api/URLRequest.h"
#include "api/transport/TransportTransfer.h"
#include "api/transport/URLSessionConfiguration.h"
#include "api/transport/URLSessionResult.h"

namespace corvane::platform {

/// One exchange on its way through the transport: first in the mailbox or the line, then on the transport
/// thread alone.
struct TransportExchange {
  std::uint64_t id = 0;
  /// The request of the current hop: redirects replace it.
  URLRequest request;
  URLSessionConfiguration configuration;
  std::function<void(URLSessionResult)> completion;

  /// Set when the exchange leaves the line.
  std::chrono::steady_clock::time_point deadline;
  int redirectsFollowed = 0;
  /// What performs the current hop. Held from leaving the line to the end.
  std::unique_ptr<TransportTransfer> transfer;
  bool isRunning = false;  // the transfer is with libcurl

  /// Connectivity was missing at least once, so that notices matter to this exchange.
  bool metNoNetwork = false;
  bool waitsForNotice = false;
  /// How many notices had come when the current attempt began; 0 where nobody was counting.
  std::uint64_t noticesAtStart = 0;
  /// Why the latest attempt failed.
  std::string latestFailure;
};

}  // namespace corvane::platform
