#pragma once

#include <curl/curl.h>
#include <poll.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "api/transport/TLSSession.h"
#include "foundation/RunningClock.h"

namespace corvane::platform {

/// A libcurl multi handle with its connections: requests in one pool never use or wait for a connection of
/// another pool. libcurl holds a request while the pool has no connection for it.
///
/// Transport thread only. Waits for nothing: the loop polls the descriptors of all pools and passes on what
/// became ready. Must not move: libcurl holds its address.
class ConnectionPool {
 public:
  using Clock = std::chrono::steady_clock;

  struct Finished {
    CURL* request;
    CURLcode code;
  };

  /// `kept`: how many idle connections stay open.
  explicit ConnectionPool(long kept);
  ConnectionPool(const ConnectionPool&) = delete;
  ConnectionPool& operator=(const ConnectionPool&) = delete;

  /// False when libcurl could not make it. Then no other function may be called.
  bool isUsable() const { return multi_ != nullptr; }

  /// Bounds the connections, and the streams of one HTTP/2 connection.
  void setBounds(long connections, long connectionsPerHost, long streams);

  /// Among the options of `request`, one must end in `openSocket`, and `closeSocket` must be one, with this
  /// pool as its data.
  CURLMcode add(CURL* request);
  /// A request that has not finished ends here; a connection of HTTP/1.1 is closed with it.
  void remove(CURL* request);

  curl_socket_t openSocket(const curl_sockaddr& address) noexcept;
  static int closeSocket(void* pool, curl_socket_t socket) noexcept;
  /// `request` is about to be sent over the connection with that port at this end.
  void noteUse(CURL* request, int localPort) noexcept;

  /// Appends the descriptors that libcurl waits for.
  void appendPolled(std::vector<pollfd>& list) const;
  /// When libcurl wants to work again although no descriptor is ready.
  std::optional<Clock::time_point> timer() const { return timer_; }
  /// Does everything that can be done without waiting. `polled`: what
  /// `poll` has found; descriptors that are not of this pool are skipped.
  CURLMcode work(std::span<const pollfd> polled);
  /// The next request that has finished; it is removed.
  std::optional<Finished> takeFinished();

  /// How many connections are open or being made. The peer may have closed some of them.
  std::size_t connections() const { return connections_.size(); }
  bool hasIdleConnection() const { return connections_.size() > requests_; }
  /// Whether a connection was made since the last call.
  bool takeOpened() { return std::exchange(opened_, false); }

  /// Makes sure that neither the connection with that port at this end, whose peer has stopped responding,
  /// nor one that is idle, and perhaps as dead, is used for another request.
  void distrustConnections(long localPort);

  /// When a request of this pool last got a connection, or a part of its response.
  RunningClock::TimePoint latestProgress{};

 private:
  struct FreeMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };
  struct Connection {
    curl_socket_t socket;
    TLSConnection tls = nullptr;  ///< known from the first request
  };
  struct Polled {
    curl_socket_t socket;
    short events;
  };

  static int watchSocket(CURL*, curl_socket_t socket, int what, void* pool, void*) noexcept;
  static int setTimer(CURLM*, long milliseconds, void* pool) noexcept;
  void unwatch(curl_socket_t socket);
  bool isWatched(curl_socket_t socket) const;
  void keepSessionsOfClosed() const;

  std::vector<Connection> connections_;
  /// The sockets of requests in progress, and those of libcurl's resolver threads.
  std::vector<Polled> polled_;
  std::optional<Clock::time_point> timer_;
  std::size_t requests_ = 0;
  bool opened_ = false;
  std::unique_ptr<CURLM, FreeMulti> multi_;  // last: its end closes the connections
};

}  // namespace corvane::platform
