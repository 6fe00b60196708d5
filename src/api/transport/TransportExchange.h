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

/// One exchange, from `Transport::begin` to its completion. Before it is in the transport's commands, one
/// thread owns it; after that, the transport thread.
struct TransportExchange {
  std::uint64_t id = 0;
  /// The current request: a redirect replaces it.
  URLRequest request;
  URLSessionConfiguration configuration;
  std::function<void(URLSessionResult)> completion;

  /// Set when the exchange leaves the queue.
  std::chrono::steady_clock::time_point deadline;
  int redirectsFollowed = 0;
  /// Performs the current request. Held while the exchange is active.
  std::unique_ptr<TransportTransfer> transfer;
  bool isRunning = false;  // the transfer is in the multi handle

  /// An attempt failed for want of connectivity, so network changes matter to this exchange.
  bool lackedConnectivity = false;
  bool waitsForChange = false;
  /// `TransportLoop::changeCount_` when the current attempt began; 0 when there was no monitor.
  std::uint64_t changesAtStart = 0;
  /// Why the latest attempt failed.
  std::string latestFailure;
};

}  // namespace corvane::platform
