#pragma once

#include <functional>
#include <thread>

namespace corvane::platform {

/// Starts a thread with all signals blocked, so that signals of the process go to threads of the host.
/// Threads that `body` starts inherit that.
std::thread startQuietThread(std::function<void()> body);

}  // namespace corvane::platform
