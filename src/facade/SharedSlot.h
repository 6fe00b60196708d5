#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace corvane {

/// A process-wide value behind a lock, for the current client and for the platform record. Usable from any
/// thread. The lock is held for copies and swaps only; a replaced value is destroyed outside it.
template <class T>
class SharedSlot {
 public:
  T get() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }

  void set(T value) {
    const std::lock_guard lock(mutex_);
    std::swap(value_, value);
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace corvane
