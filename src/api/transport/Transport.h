#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "api/URLRequest.h"
#include "api/transport/EventAdmission.h"
#include "api/transport/URLSessionConfiguration.h"
#include "api/transport/URLSessionResult.h"
#include "api/transport/WakeUp.h"
#include "foundation/RunningClock.h"

namespace corvane::platform {

struct TransportExchange;
class TransportLoop;

/// The transport thread and its pending commands.
///
/// One thread runs every exchange of the process on libcurl (`TransportLoop`, which only that thread uses).
/// Other threads add commands, which begin or cancel an exchange, under `mutex_` and wake the thread, which
/// takes them. The mutex is not held while a completion runs or libcurl works. With nothing to do, the thread
/// sleeps until it is woken.
///
/// The thread blocks all signals, and so do libcurl's resolver threads, which inherit its mask.
class Transport {
 public:
  using Completion = std::function<void(URLSessionResult)>;
  using ExchangeID = std::uint64_t;

  /// The process's transport: made on first use and never destroyed, so that it may be used until the process
  /// ends. Does not wait for the initialisation of libcurl, which its thread does first; but an exit hook
  /// that is registered after this call runs before the hooks of libcurl's libraries. Any thread.
  static Transport& shared();

  /// `time`: what time-outs are measured with.
  explicit Transport(RunningClock::Source time = std::chrono::steady_clock::now);
  /// Shuts down and waits for the thread, without a time limit. No other call may be in progress.
  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  /// Begins an exchange. Any thread. Does not wait for I/O.
  ///
  /// `completion` runs exactly once and is then destroyed, both on the transport's thread and never inside
  /// `begin`. It must not block or throw. After a shutdown that thread is gone, and the failure is reported
  /// inside `begin`.
  ExchangeID begin(URLRequest request, const URLSessionConfiguration& configuration, Completion completion);

  /// Aborts the exchange: its completion still runs once, with a failure. Without effect
  /// when the exchange has ended. Any thread. Does not wait.
  void cancel(ExchangeID exchange);

  /// How many exchanges of events it takes at once, at present. More are performed too, but wait inside
  /// libcurl, where each costs several KB. Any thread.
  std::size_t eventCapacity() const { return eventCapacity_; }

  /// Ends every exchange, present and future, with the text "the process is exiting", closes all sockets and
  /// ends the thread. Returns whether the thread ended within `timeout`; if not, it still runs and may be
  /// inside a completion. Any thread but the transport's own; a second call only waits. Must not be called in
  /// a forked child, where the thread does not exist.
  bool shutDown(std::chrono::milliseconds timeout);

 private:
  struct Commands {
    std::vector<std::unique_ptr<TransportExchange>> begun;
    std::vector<ExchangeID> cancelled;
  };

  void startThread();
  std::string setUp();
  void refuseFurther(const std::string& reason);
  void run();
  void wakeForFirstCommand();

  /// Held by the thread except while it sleeps, and by a fork. Without it, a child could inherit a lock of
  /// libcurl or OpenSSL in the locked state and hang in OpenSSL's exit hook. Completions run under it, so
  /// they must not wait for another lock that a fork takes.
  std::mutex working_;

  std::mutex mutex_;
  Commands commands_;         // under mutex_
  ExchangeID lastID_ = 0;     // under mutex_
  std::string refusal_;       // under mutex_: why no exchange is accepted any more; empty while they are
  bool threadEnded_ = false;  // under mutex_
  std::condition_variable threadEnd_;
  const WakeUp wakeUp_;
  std::atomic<std::size_t> eventCapacity_{EventAdmission::overHTTP1};
  /// Used by the thread only, as is the loop, which it makes.
  RunningClock clock_;
  std::unique_ptr<TransportLoop> loop_;
  std::thread thread_;
};

}  // namespace corvane::platform
