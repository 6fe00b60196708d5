#pragma once

#include <functional>
#include <thread>

namespace corvane {

/// Starts a thread of the library. All signals are blocked in it, so that signals of the process go to the
/// host's threads. Where the system has batch scheduling, the thread uses it and so does not preempt the
/// host's threads. Threads that `body` starts inherit both. Throws `std::system_error` when no thread can be
/// made.
std::thread startLibraryThread(std::function<void()> body);

}  // namespace corvane
