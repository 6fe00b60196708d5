#include "async/QuietThread.h"

#include <pthread.h>
#include <sched.h>

#include <csignal>
#include <utility>

namespace corvane {
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

/// Keeps the calling thread from preempting others when it is woken, so that a call that hands it work is not
/// held up by that work. A thread for which the host chose another policy keeps that. Where the system
/// refuses, all works as well, with a few microseconds more for the caller.
void yieldToTheHost() {
#ifdef SCHED_BATCH
  int policy = SCHED_OTHER;
  sched_param parameters{};
  if (pthread_getschedparam(pthread_self(), &policy, &parameters) == 0 && policy == SCHED_OTHER)
    pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters);
#endif
}

}  // namespace

std::thread startQuietThread(std::function<void()> body) {
  // A thread begins with the mask of the one that makes it.
  const SignalsBlocked blocked;
  return std::thread([body = std::move(body)] {
    yieldToTheHost();
    body();
  });
}

}  // namespace corvane
