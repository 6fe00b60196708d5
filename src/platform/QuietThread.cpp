#include "platform/QuietThread.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace corvane::platform {
namespace {

/// Blocks every signal of the calling thread while it lives.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

std::thread startQuietThread(std::function<void()> body) {
  // A thread begins with the mask of the one that makes it.
  const SignalsBlocked blocked;
  return std::thread(std::move(body));
}

}  // namespace corvane::platform
