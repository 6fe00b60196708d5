#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "api/URLRequest.h"
#include "platform/Transport.h"
#include "platform/URLSessionConfiguration.h"
#include "platform/URLSessionResult.h"

namespace corvane::platform {

/// The handle of one exchange. Dropping it leaves the exchange alone.
class URLSessionDataTask {
 public:
  URLSessionDataTask(Transport& transport, Transport::ExchangeID exchange)
      : transport_(transport), exchange_(exchange) {}

  /// Aborts the exchange; its completion still runs, once, as a failure. Without effect when the exchange has
  /// ended. Any thread, never blocks.
  void cancel() { transport_.cancel(exchange_); }

 private:
  Transport& transport_;
  Transport::ExchangeID exchange_;
};

/// Performs HTTP exchanges by one configuration.
///
/// Immutable, so usable from any thread. Sessions are light: connections, the thread and the bound on
/// exchanges at once belong to the transport, which they all share. Destroying a session leaves its exchanges
/// running.
class URLSession {
 public:
  explicit URLSession(URLSessionConfiguration configuration, Transport& transport = Transport::shared());

  /// Begins the exchange; never blocks, never fails itself.
  ///
  /// `completion` runs exactly once and is destroyed, both on the transport's thread and never inside `data`.
  /// It must neither block nor throw. The one exception: when the transport has shut down there is no such
  /// thread, and the failure is reported inside `data`.
  std::shared_ptr<URLSessionDataTask> data(URLRequest request,
                                           std::function<void(URLSessionResult)> completion) const;

 private:
  URLSessionConfiguration configuration_;
  Transport& transport_;
};

}  // namespace corvane::platform
