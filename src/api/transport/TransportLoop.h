#pragma once

#include <curl/curl.h>
#include <poll.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "api/transport/ConnectionPool.h"
#include "api/transport/ConnectivityMonitor.h"
#include "api/transport/EventAdmission.h"
#include "api/transport/TransportExchange.h"
#include "api/transport/WakeUp.h"
#include "foundation/RunningClock.h"

namespace corvane::platform {

/// The work of the transport thread: performs exchanges in two pools of connections, follows their redirects,
/// lets them wait for connectivity, fails those whose time is over, and completes them.
///
/// The pools are separate so that what somebody waits for never waits for events: an open connection of the
/// interactive pool stays free of them. Only a lone event may take one, when events have none open.
///
/// The time-outs are this class's, on a `RunningClock`. libcurl's own would fire after a suspension, and run
/// while libcurl holds a request for want of a connection or a stream. Such a request does not spend its
/// time; it fails when nothing in its pool has progressed for that long.
///
/// Transport thread only. Completions run inside these functions, after the loop's own state is consistent.
class TransportLoop {
 public:
  static constexpr long interactiveConnections = 4;
  static constexpr long eventConnections = EventAdmission::overHTTP1;
  static constexpr int maxRedirects = 10;

  /// `eventCapacity`: where to write how many event exchanges are admitted at once. Both outlive this object.
  TransportLoop(const WakeUp& wakeUp, RunningClock clock, std::atomic<std::size_t>& eventCapacity);
  TransportLoop(const TransportLoop&) = delete;
  TransportLoop& operator=(const TransportLoop&) = delete;

  /// False when libcurl could not be set up. Then no other function may be called.
  bool isUsable() const { return shared_ && interactive_.isUsable() && events_.isUsable(); }

  /// Begins an exchange.
  void begin(std::unique_ptr<TransportExchange> exchange);

  /// Completes an exchange as cancelled. Without effect when it has ended.
  void cancel(std::uint64_t id);

  /// Does everything that can be done without waiting.
  void work();

  /// Sleeps until there is more to do or the wake-up comes. Returns why it cannot sleep, or an empty text.
  std::string sleep();

  /// Completes all exchanges with `reason`. The loop's destructor closes the connections.
  void failAll(const std::string& reason);

 private:
  struct FreeShare {
    void operator()(CURLSH* share) const { curl_share_cleanup(share); }
  };

  void setBounds();
  void workOn(ConnectionPool& pool);
  void noteProgress();
  void observeEvents();
  void collectFinished(ConnectionPool& pool);
  ConnectionPool& poolFor(const URLRequest& request);
  void startRequest(TransportExchange& exchange);
  void finishRequest(TransportExchange& exchange, CURLcode code);
  void handleResponse(TransportExchange& exchange, HTTPResponse response);
  bool lacksConnectivity(const TransportExchange& exchange, CURLcode code) const;
  bool waitForConnectivity(TransportExchange& exchange);
  void handleNetworkChanges();
  RunningClock::TimePoint endOf(const TransportExchange& exchange) const;
  void failExpired();
  void distrustConnection(const TransportExchange& exchange);
  void timeOut(TransportExchange& exchange);
  int longestSleep() const;
  void complete(TransportExchange& exchange, URLSessionResult result);
  void keepForReuse(std::unique_ptr<TransportTransfer> transfer);
  std::vector<TransportExchange*> activeWhere(
      const std::function<bool(const TransportExchange&)>& condition) const;
  std::vector<TransportExchange*> waiting() const;

  const WakeUp& wakeUp_;
  RunningClock clock_;
  /// The latest reading of the clock.
  RunningClock::TimePoint now_;
  std::atomic<std::size_t>& eventCapacity_;
  EventAdmission admission_;
  /// TLS sessions, so that a new connection resumes one, and name look-ups. Used by one thread, so it needs
  /// no locks.
  std::unique_ptr<CURLSH, FreeShare> shared_;
  ConnectionPool interactive_{interactiveConnections};
  ConnectionPool events_{eventConnections};
  std::vector<std::unique_ptr<TransportExchange>> active_;
  /// Transfers for reuse, at most one for each connection.
  std::vector<std::unique_ptr<TransportTransfer>> idleTransfers_;
  /// Held while an active exchange has lacked connectivity.
  std::unique_ptr<ConnectivityMonitor> monitor_;
  /// The network changes seen by all monitors so far, plus one.
  std::uint64_t changeCount_ = 1;
  /// What `poll` got in the latest sleep.
  std::vector<pollfd> polled_;
};

}  // namespace corvane::platform
