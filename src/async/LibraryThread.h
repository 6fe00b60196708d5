#pragma once

#include <functional>
#include <thread>

namespace corvane {

enum class Scheduling {
  batch,   ///< does not preempt the host's threads when it wakes up, where the system has batch scheduling
  normal,  ///< for a thread that another one waits for
};

/// Starts a thread of the library. All signals are blocked in it, so that signals of the process go to the
/// host's threads. Threads that `body` starts inherit this and the scheduling. Throws `std::system_error`
/// when no thread can be made.
std::thread startLibraryThread(std::function<void()> body, Scheduling scheduling = Scheduling::batch);

}  // namespace corvane
