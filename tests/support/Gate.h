#pragma once

#include <condition_variable>
#include <mutex>

namespace corvane::test {

/// Blocks the callers of `pass` while it is closed. Initially open. Any thread.
class Gate {
 public:
  void close() { set(true); }
  void open() { set(false); }

  void pass() {
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [this] { return !closed_; });
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
