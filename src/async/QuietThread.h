#pragma once

#include <functional>
#include <thread>

namespace corvane {

/// Starts a thread with all signals blocked, so that signals of the process go to threads of the host, and
/// scheduled as batch work where the system knows that, so that it does not preempt the host's threads.
/// Threads that `body` starts inherit both.
std::thread startQuietThread(std::function<void()> body);

}  // namespace corvane
