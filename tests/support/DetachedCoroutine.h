#pragma once

#include <coroutine>
#include <exception>

namespace corvane::test {

/// A minimal coroutine. It starts at once, destroys itself at its end, and must not throw.
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
