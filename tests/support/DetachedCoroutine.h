#pragma once

#include <coroutine>
#include <exception>

namespace corvane::test {

/// The plainest coroutine: starts at once, ends by itself, and must not throw.
struct DetachedCoroutine {
  struct promise_type {
    DetachedCoroutine get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };
};

}  // namespace corvane::test
