#include "platform/preferences/AdvisoryLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

#include "async/LibraryThread.h"
#include "platform/preferences/PreferencesFailure.h"

namespace corvane::platform {
namespace {

using Clock = std::chrono::steady_clock;

/// Threads whose callers gave up, and that still wait for their turn.
std::atomic<int> abandonedWaits = 0;
/// With so many of them, callers poll.
constexpr int maxAbandonedWaits = 8;

/// A wait in the kernel's queue, shared by the caller and the thread that waits.
struct QueuedWait {
  std::mutex mutex;
  std::condition_variable ended;
  /// Guarded by `mutex`: 0 when the lock was granted, otherwise an errno; none while the thread waits.
  std::optional<int> error;
  bool abandoned = false;
};

/// 0 or an errno.
int lockWithoutBound(int descriptor) {
  while (::flock(descriptor, LOCK_EX) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

void waitForTurn(int descriptor, QueuedWait& wait) {
  const int error = lockWithoutBound(descriptor);
  const std::lock_guard lock(wait.mutex);
  wait.error = error;
  wait.ended.notify_one();
  if (wait.abandoned) {
    ::flock(descriptor, LOCK_UN);
    --abandonedWaits;
  }
  ::close(descriptor);
}

/// 0 or an errno; none where no thread could be started. The thread has a descriptor of its own, and what it
/// locks is locked through both.
std::optional<int> lockInQueue(int descriptor, Clock::time_point waitUntil) {
  const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (own < 0) return errno;
  const auto wait = std::make_shared<QueuedWait>();
  try {
    // The caller waits for this thread, which must run as soon as its turn comes.
    startLibraryThread([own, wait] { waitForTurn(own, *wait); }, Scheduling::normal).detach();
  } catch (const std::system_error&) {
    ::close(own);
    return std::nullopt;
  }
  std::unique_lock lock(wait->mutex);
  if (wait->ended.wait_until(lock, waitUntil, [&] { return wait->error.has_value(); })) return *wait->error;
  wait->abandoned = true;
  ++abandonedWaits;
  return EWOULDBLOCK;
}

/// 0 or an errno, EWOULDBLOCK when another holder outlasted the wait.
int lockBefore(Clock::time_point waitUntil, int descriptor) {
  while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) return errno;
    if (Clock::now() >= waitUntil) return EWOULDBLOCK;
    if (abandonedWaits < maxAbandonedWaits) {
      if (const auto result = lockInQueue(descriptor, waitUntil)) return *result;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return 0;
}

}  // namespace

AdvisoryLock::AdvisoryLock(int descriptor, TimePoint waitUntil) : descriptor_(descriptor) {
  const int error = lockBefore(waitUntil, descriptor);
  if (error == 0) return;
  ::close(descriptor);
  if (error == EWOULDBLOCK)
    throw PreferencesFailure(PreferencesFailure::Kind::busy, "another process holds the folder");
  throw PreferencesFailure(PreferencesFailure::Kind::unusable,
                           "the folder cannot be locked: " + std::generic_category().message(error));
}

AdvisoryLock::~AdvisoryLock() {
  ::flock(descriptor_, LOCK_UN);
  ::close(descriptor_);
}

}  // namespace corvane::platform
