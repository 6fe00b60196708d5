#pragma once

#include <condition_variable>
#include <mutex>

#include "support/Await.h"

namespace corvane::test {

/// Blocks the threads of a server's handler while the test keeps it closed. Any thread; open at first.
class Gate {
 public:
  void close() { set(true); }
  void open() { set(false); }

  /// Waits while it is closed.
  void pass() {
    std::unique_lock lock(mutex_);
    await(opened_, lock, "a gate to open", [this] { return !closed_; });
  }

 private:
  void set(bool closed) {
    const std::lock_guard lock(mutex_);
    closed_ = closed;
    opened_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable opened_;
  bool closed_ = false;
};

}  // namespace corvane::test
