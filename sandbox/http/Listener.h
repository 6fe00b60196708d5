#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "http/Connection.h"

namespace corvane::sandbox {

/// Accepts TCP connections at one address and serves each on a thread of its own. Further connections wait in
/// the kernel's queue while `maxConnections` are open. Its threads block all signals.
class Listener {
 public:
  static constexpr std::size_t maxConnections = 256;

  /// Serves a connection until it returns, and then closes it. Runs on several threads at once.
  using Serve = std::function<void(Connection&)>;

  struct Options {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;   ///< 0: a free port
    TLSContext context = {};  ///< present: TLS
    bool isFreeBind = false;  ///< whether the address may belong to no device yet
  };

  /// Listens from here on. Throws `std::runtime_error` when the address cannot be used.
  Listener(Options options, Serve serve);
  /// Shuts all connections down and waits until they are served.
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  std::uint16_t port() const { return port_; }
  /// "http://127.0.0.1:8717" or "https://[::1]:8717".
  std::string origin() const;

  /// How many connections were accepted so far.
  std::size_t accepted() const;
  /// Waits until no connection is open. False after a minute.
  bool awaitNoConnection() const;

 private:
  using Threads = std::list<std::thread>;

  void listen();
  void acceptConnections();
  bool mayAccept();
  void start(Descriptor socket);
  void run(Descriptor socket, Threads::iterator self);

  const Options options_;
  const Serve serve_;
  Descriptor listener_;
  std::uint16_t port_ = 0;

  mutable std::mutex mutex_;  // guards what follows, up to `acceptor_`
  mutable std::condition_variable changed_;
  std::list<int> open_;  // sockets
  std::size_t accepted_ = 0;
  bool isStopping_ = false;
  Threads running_;
  Threads finished_;  // to be joined

  std::thread acceptor_;
};

}  // namespace corvane::sandbox
