#include "async/LibraryThread.h"

#include <pthread.h>
#include <sched.h>

#include <csignal>
#include <utility>

namespace corvane {
namespace {

/// Blocks every signal in the calling thread during its lifetime.
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

/// Prevents the calling thread from preempting others when it wakes up, so that a call that posts work is not
/// delayed by that work. A policy that the host chose is kept. Where the system refuses the change, a post
/// costs its caller a few microseconds more.
void useBatchScheduling() {
#ifdef SCHED_BATCH
  int policy = SCHED_OTHER;
  sched_param parameters{};
  if (pthread_getschedparam(pthread_self(), &policy, &parameters) == 0 && policy == SCHED_OTHER)
    pthread_setschedparam(pthread_self(), SCHED_BATCH, &parameters);
#endif
}

}  // namespace

std::thread startLibraryThread(std::function<void()> body, Scheduling scheduling) {
  // A new thread inherits the signal mask of the thread that creates it.
  const SignalsBlocked blocked;
  return std::thread([body = std::move(body), scheduling] {
    if (scheduling == Scheduling::batch) useBatchScheduling();
    body();
  });
}

}  // namespace corvane
