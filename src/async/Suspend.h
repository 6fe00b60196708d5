#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>

namespace corvane {

/// Calls `start` and suspends the calling task until `resume` is called: exactly once, from any thread, also
/// inside `start`. The task continues on its own executor, never inside the call of `resume`. Cancelling the
/// task does not end the suspension.
boost::asio::awaitable<void> suspendUntil(std::function<void(std::function<void()> resume)> start);

/// Whether the calling task has been cancelled.
boost::asio::awaitable<bool> isCancelled();

}  // namespace corvane
