#include "foundation/StandardOutput.h"

#include <pthread.h>
#include <stdio_ext.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

namespace corvane {
namespace {

/// Keeps SIGPIPE from the calling thread while it lives, and takes back the one that a write raised
/// meanwhile. A SIGPIPE that was already pending is the host's and stays.
class SigpipeGuard {
 public:
  SigpipeGuard() {
    sigemptyset(&sigpipe_);
    sigaddset(&sigpipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &sigpipe_, &before_);
  }

  ~SigpipeGuard() {
    if (!wasPending_) {
      const timespec atOnce{};
      while (sigtimedwait(&sigpipe_, nullptr, &atOnce) == -1 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

 private:
  sigset_t sigpipe_;
  sigset_t before_;
  bool wasPending_;
};

}  // namespace

void writeToStandardOutput(const std::string& line) {
  const int hostErrno = errno;
  {
    const SigpipeGuard guard;
    flockfile(stdout);
    // What the host has buffered goes first. If even that cannot be written, our line would only wait in the
    // buffer until the host's exit, and raise the signal there.
    if (fflush(stdout) == 0) {
      fwrite_unlocked(line.data(), 1, line.size(), stdout);
      if (fflush_unlocked(stdout) != 0) __fpurge(stdout);
    }
    funlockfile(stdout);
  }
  errno = hostErrno;
}

}  // namespace corvane
