#pragma once

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
#include "api/transport/URLSessionConfiguration.h"
#include "api/transport/URLSessionResult.h"

namespace corvane::platform {

struct TransportExchange;
class TransportLoop;

/// The transport thread and the mailbox in front of it.
///
/// One thread runs every exchange of the process on one libcurl multi handle (`TransportLoop`, which only
/// that thread touches). Other threads reach it through the mailbox: begun exchanges and cancellations are
/// put in under `mutex_`, and a wake-up makes the thread take them out. The mutex is never held while a
/// completion runs, nor while libcurl works. With nothing to do the thread sleeps until it is woken.
///
/// The thread blocks all signals, and so do libcurl's look-up threads, which inherit its mask.
class Transport {
 public:
  using Completion = std::function<void(URLSessionResult)>;
  using ExchangeID = std::uint64_t;

  /// The process's transport: made on first use (libcurl is initialised before anything else) and never
  /// destroyed, so that it may be used at any time until the process is gone. Any thread.
  static Transport& shared();

  Transport();
  /// Shuts down and waits for the thread, however long it takes. Nobody may be inside a call.
  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  /// Begins an exchange, or queues it while enough are in progress. Any thread, never blocks, never throws.
  ///
  /// `completion` runs exactly once and is destroyed, both on the transport's thread and never inside
  /// `begin`. It must neither block nor throw. The one exception: after a shutdown there is no such thread,
  /// and the failure is reported inside `begin`.
  ExchangeID begin(URLRequest request, const URLSessionConfiguration& configuration, Completion completion);

  /// Aborts the exchange, queued or in flight: its completion still runs, once, as a failure. Without effect
  /// once the exchange has ended. Any thread, never blocks.
  void cancel(ExchangeID exchange);

  /// Ends every exchange, now and from here on, with the text "the process is exiting", closes all sockets
  /// and ends the thread. Returns true when the thread has ended within `bound`; otherwise it is left behind,
  /// and may still be inside a completion. Any thread but the transport's own; a second call just waits.
  /// Never to be called in a forked child, where the thread does not exist.
  bool shutDown(std::chrono::milliseconds bound);

 private:
  struct Commands {
    std::vector<std::unique_ptr<TransportExchange>> begun;
    std::vector<ExchangeID> cancelled;
  };

  void startThread();
  void run();
  void wakeForFirst();

  /// Held by the thread except while it sleeps, and by a fork: the child would inherit for ever the locks of
  /// libcurl and OpenSSL that the thread holds while it works, and hang in OpenSSL's exit hook. Completions
  /// run under it, and so must not wait for anything else that a fork locks.
  std::mutex working_;

  std::mutex mutex_;
  Commands commands_;         // under mutex_
  ExchangeID lastID_ = 0;     // under mutex_
  std::string refusal_;       // under mutex_: why no exchange is taken any more; empty while they are
  bool threadEnded_ = false;  // under mutex_
  std::condition_variable threadEnd_;
  /// Used by the thread alone, except for `wake`, which others call under `mutex_` while `refusal_` is empty:
  /// the thread destroys the loop only after it has seen a refusal.
  std::unique_ptr<TransportLoop> loop_;
  std::thread thread_;
};

}  // namespace corvane::platform
