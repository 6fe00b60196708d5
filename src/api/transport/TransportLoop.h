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

/// What the transport thread does: takes exchanges from the line, drives them on a libcurl multi handle,
/// follows their redirects, lets them wait for connectivity, and completes them.
///
/// Transport thread only, but for `wake`. Completions run inside these functions, after the loop's own state
/// is in order.
class TransportLoop {
 public:
  /// Exchanges at once, and so connections at once. One backend on HTTP/1.1 rarely needs more than two; the
  /// rest keeps a few silent servers or look-ups from holding up the others, while a burst of a whole
  /// event queue stays a modest load for the backend and at most some 10 MiB here. Exchanges beyond it wait
  /// in our line and not in libcurl's, where their time-out would run.
  static constexpr std::size_t maxExchanges = 8;
  static constexpr int maxRedirects = 10;

  TransportLoop();
  TransportLoop(const TransportLoop&) = delete;
  TransportLoop& operator=(const TransportLoop&) = delete;

  /// False where libcurl could not be set up (a multi handle without its wake-up descriptors is none): then
  /// nothing else may be called.
  bool isUsable() const { return multi_ && curl_multi_wakeup(multi_.get()) == CURLM_OK; }

  /// Makes the current or the next `sleep` return soon. Any thread.
  void wake() { curl_multi_wakeup(multi_.get()); }

  /// Puts an exchange at the end of the line.
  void enqueue(std::unique_ptr<TransportExchange> exchange);

  /// Completes the exchange as cancelled, in the line or in flight; without effect when it is neither.
  void cancel(std::uint64_t id);

  /// Does what is due.
  void work();

  /// Sleeps until there is more to do or `wake` is called. Gives the reason when it could not, and empty
  /// otherwise.
  std::string sleep();

  /// Completes everything with `reason`. The connections close with the loop.
  void abandon(const std::string& reason);

 private:
  struct FreeMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  using Clock = std::chrono::steady_clock;

  void collectFinished();
  void admitQueued();
  void startHop(TransportExchange& exchange);
  void finishHop(TransportExchange& exchange, CURLcode code);
  void answer(TransportExchange& exchange, HTTPResponse response);
  bool metNoNetwork(const TransportExchange& exchange, CURLcode code) const;
  bool awaitConnectivity(TransportExchange& exchange);
  void takeNotices();
  void expireWaiting();
  void failActive(const std::string& reason);
  void complete(TransportExchange& exchange, URLSessionResult result);
  std::vector<TransportExchange*> waiting() const;

  std::unique_ptr<CURLM, FreeMulti> multi_;
  std::deque<std::unique_ptr<TransportExchange>> queue_;
  std::vector<std::unique_ptr<TransportExchange>> active_;
  /// For the next exchanges; transfers never outnumber `maxExchanges`.
  std::vector<std::unique_ptr<TransportTransfer>> spare_;
  /// Held while an exchange is active that met no network; counts from 1, over all subscriptions.
  std::unique_ptr<ConnectivityMonitor> monitor_;
  std::uint64_t noticeCount_ = 1;
};

}  // namespace corvane::platform
