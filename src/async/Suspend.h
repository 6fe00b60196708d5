#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>

namespace corvane {

/// Suspends the calling task until `resume` is called: exactly once, from any thread, also inside `start`.
/// The task goes on where it ran before, never inside the call of `resume`. Cancelling the task does not end
/// this.
boost::asio::awaitable<void> suspendUntil(std::function<void(std::function<void()> resume)> start);

/// Whether the calling task has been asked to stop.
boost::asio::awaitable<bool> isCancelled();

}  // namespace corvane
