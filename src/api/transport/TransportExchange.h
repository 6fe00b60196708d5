#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "api/URLRequest.h"
#include "api/transport/ConnectionPool.h"
#include "api/transport/ExchangeTime.h"
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

  /// Limits the whole exchange. Stands still while libcurl holds the request.
  ExchangeTime time;
  int redirectsFollowed = 0;
  /// Performs the current request.
  std::unique_ptr<TransportTransfer> transfer;
  /// Where the current request is; null while it waits for a network.
  ConnectionPool* pool = nullptr;
  /// When the request was handed to libcurl, its stage changed, or bytes were transferred.
  RunningClock::TimePoint latestProgress;
  TransportTransfer::Stage latestStage = TransportTransfer::Stage::held;
  curl_off_t sent = 0;
  curl_off_t received = 0;
  /// Its connection was shut down because another exchange timed out on it, so it may begin again.
  bool lostConnection = false;

  /// An attempt failed for want of connectivity, so network changes matter to this exchange.
  bool lackedConnectivity = false;
  bool waitsForChange = false;
  /// `TransportLoop::changeCount_` when the current attempt began; 0 when there was no monitor.
  std::uint64_t changesAtStart = 0;
  /// Why the latest attempt failed.
  std::string latestFailure;
};

}  // namespace corvane::platform
