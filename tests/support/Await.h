#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "corvane/CorvaneTask.h"

namespace corvane::test {

/// How long a test waits for something. It is only reached when the test fails.
inline constexpr std::chrono::seconds waitLimit(60);

[[noreturn]] inline void failToArrive(const std::string& what) {
  throw std::runtime_error("waited " + std::to_string(waitLimit.count()) + " s in vain for " + what);
}

/// The value of the future. These functions throw `std::runtime_error`, which names `what`, at the limit.
template <class T>
T await(std::future<T>& future, const std::string& what) {
  if (future.wait_for(waitLimit) != std::future_status::ready) failToArrive(what);
  return future.get();
}

/// The result of a task of the library.
template <class T>
T await(const CorvaneTask<T>& task, const std::string& what) {
  if (!task.waitFor(waitLimit)) failToArrive(what);
  return task.get();
}

/// Waits until `condition` holds.
inline void await(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                  const std::string& what, const std::function<bool()>& condition) {
  if (!changed.wait_for(lock, waitLimit, condition)) failToArrive(what);
}

/// Waits for a condition that sends no notification.
inline void awaitByPolling(const std::string& what, const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + waitLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) failToArrive(what);
    std::this_thread::yield();
  }
}

}  // namespace corvane::test
