#pragma once

#include <chrono>

namespace corvane::platform {

/// An exclusive advisory lock (`flock`) on an open file or folder, with a bounded wait.
///
/// Waiters are in the kernel's queue, so that several writers take turns: with polling, one writer may wait
/// for seconds (docs/adr/0002-preferences-durability.md). The order is not strict, as a caller first tries
/// whether the lock is free. Because `flock` has no time-out, a thread waits in the queue on behalf of the
/// caller, and only while another process holds the lock. A thread whose caller gave up unlocks as soon as
/// its turn comes. When eight of them wait, or no thread can be started, callers poll.
///
/// Forks: a child inherits the descriptor, and an unlock in either process unlocks for both. The destructor
/// therefore unlocks before it closes, so that a child that lives on does not keep the lock. The child itself
/// never unlocks: the thread that holds the lock runs no code of the host and so never forks.
class AdvisoryLock {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Locks what is open as `descriptor`, which it owns from then on. Throws PreferencesFailure: `busy` when
  /// another holder outlasted the wait.
  AdvisoryLock(int descriptor, TimePoint waitUntil);
  ~AdvisoryLock();
  AdvisoryLock(const AdvisoryLock&) = delete;
  AdvisoryLock& operator=(const AdvisoryLock&) = delete;

  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace corvane::platform
