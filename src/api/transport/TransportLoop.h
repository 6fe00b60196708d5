#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "api/transport/ConnectivityMonitor.h"
#include "api/transport/TransportExchange.h"

namespace corvane::platform {

/// The work of the transport thread: takes exchanges from the queue, performs them on a libcurl multi handle,
/// follows their redirects, lets them wait for connectivity, and completes them.
///
/// Transport thread only, except for `wake`. Completions run inside these functions, after the loop's own
/// state is consistent.
class TransportLoop {
 public:
  /// The limit of simultaneous exchanges, and so of connections. One backend on HTTP/1.1 rarely needs more
  /// than two; with the others, a few servers or name look-ups that do not respond do not block all
  /// exchanges. A burst of a whole event queue remains a small load for the backend and takes about 10 MiB at
  /// most here. Further exchanges wait in our queue and not in libcurl's, where their time-out would run.
  static constexpr std::size_t maxExchanges = 8;
  static constexpr int maxRedirects = 10;

  TransportLoop();
  TransportLoop(const TransportLoop&) = delete;
  TransportLoop& operator=(const TransportLoop&) = delete;

  /// False when libcurl could not be set up. That includes a multi handle without wake-up descriptors. Then
  /// no other function may be called.
  bool isUsable() const { return multi_ && curl_multi_wakeup(multi_.get()) == CURLM_OK; }

  /// Makes the current or the next `sleep` return at once. Any thread.
  void wake() { curl_multi_wakeup(multi_.get()); }

  /// Appends an exchange to the queue.
  void enqueue(std::unique_ptr<TransportExchange> exchange);

  /// Completes a queued or active exchange as cancelled. Without effect when it has ended.
  void cancel(std::uint64_t id);

  /// Does everything that can be done without waiting.
  void work();

  /// Sleeps until there is more to do or `wake` is called. Returns why it cannot sleep, or an empty text.
  std::string sleep();

  /// Completes all exchanges with `reason`. The loop's destructor closes the connections.
  void failAll(const std::string& reason);

 private:
  struct FreeMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  using Clock = std::chrono::steady_clock;

  void collectFinished();
  void startQueued();
  void startRequest(TransportExchange& exchange);
  void finishRequest(TransportExchange& exchange, CURLcode code);
  void handleResponse(TransportExchange& exchange, HTTPResponse response);
  bool lacksConnectivity(const TransportExchange& exchange, CURLcode code) const;
  bool waitForConnectivity(TransportExchange& exchange);
  void handleNetworkChanges();
  void failExpired();
  void failActive(const std::string& reason);
  void complete(TransportExchange& exchange, URLSessionResult result);
  std::vector<TransportExchange*> waiting() const;

  std::unique_ptr<CURLM, FreeMulti> multi_;
  std::deque<std::unique_ptr<TransportExchange>> queue_;
  std::vector<std::unique_ptr<TransportExchange>> active_;
  /// Transfers for reuse. With those in use there are at most `maxExchanges`.
  std::vector<std::unique_ptr<TransportTransfer>> idleTransfers_;
  /// Held while an active exchange has lacked connectivity.
  std::unique_ptr<ConnectivityMonitor> monitor_;
  /// The network changes seen by all monitors so far, plus one.
  std::uint64_t changeCount_ = 1;
};

}  // namespace corvane::platform
