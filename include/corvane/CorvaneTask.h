#pragma once

#include <chrono>
#include <coroutine>
#include <functional>
#include <memory>

#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneEventResult.h"
#include "corvane/CorvaneExport.h"

namespace corvane {
template <class T>
class TaskState;
}

/// A handle of an operation that has started. The operation completes later, with a `T`, a `CorvaneError` or
/// a `CorvaneCancellationError`.
///
/// Handles can be copied; copies refer to the same operation. They may be used from any thread. Any number of
/// callers may wait, also after completion. Destroying all handles does not stop the operation.
template <class T>
class CORVANE_API CorvaneTask {
 public:
  class Awaiter;

  CorvaneTask(const CorvaneTask&) noexcept;
  CorvaneTask& operator=(const CorvaneTask&) noexcept;
  ~CorvaneTask();

  /// Waits for completion and returns the result, or throws the operation's failure. May be called again.
  ///
  /// On the main thread, a `CorvaneMainQueue` runs its functions during the wait, so that the operation can
  /// use the main thread. An exception of a host callback that runs there leaves through `get`; the handle
  /// stays valid. A callback that waits counts as returned for the operation that called it. With an executor
  /// that does not implement `runUntil`, waiting on the main thread for an incomplete operation throws
  /// `std::logic_error`: use `whenDone` or `co_await`. Waiting on the library's background thread, where
  /// pasteboards and executors may be called, throws it too.
  T get() const;

  /// Waits as `get` does, for at most `duration`, and returns whether the operation is complete.
  bool waitFor(std::chrono::nanoseconds duration) const;

  /// Returns whether the operation is complete, so that `get` does not wait.
  bool isDone() const;

  /// Calls `callback` with this task once, on the main thread, after completion and never inside this call.
  /// When the main executor refuses the function, the callback is destroyed without being called.
  void whenDone(std::function<void(CorvaneTask)> callback) const;

  /// Requests that the operation stops. The request has an effect during the delay between two attempts and
  /// during an exchange; the operation then fails with `CorvaneCancellationError` (or, on the last attempt,
  /// with a `transport` error). At other times, after completion and when repeated, it has no effect. It does
  /// not stop an install report that several callers of `trackInstallAsync` share.
  void cancel() const;

  /// `co_await task` resumes on the main thread, never inline, with the result of `get`. It works in every
  /// coroutine whose promise accepts a plain awaiter. When the main executor refuses the continuation, the
  /// coroutine resumes on the thread that destroyed the continuation, with `CorvaneCancellationError`. A
  /// coroutine that waits here must not be destroyed before it resumes.
  Awaiter operator co_await() const { return Awaiter(*this); }

  /// Internal: the library creates tasks.
  explicit CorvaneTask(std::shared_ptr<corvane::TaskState<T>> state) noexcept;

 private:
  void continueOnMain(std::function<void(bool delivered)> continuation) const;
  [[noreturn]] static void throwCancellation();

  std::shared_ptr<corvane::TaskState<T>> state_;
};

template <class T>
class CorvaneTask<T>::Awaiter {
 public:
  explicit Awaiter(CorvaneTask task) noexcept : task_(task) {}

  bool await_ready() const noexcept { return false; }

  void await_suspend(std::coroutine_handle<> waiting) {
    // The coroutine may resume, and destroy this awaiter, before the call returns.
    const CorvaneTask task = task_;
    task.continueOnMain([this, waiting](bool delivered) {
      delivered_ = delivered;
      waiting.resume();
    });
  }

  T await_resume() const {
    if (!delivered_) throwCancellation();
    return task_.get();
  }

 private:
  CorvaneTask task_;
  bool delivered_ = false;
};

extern template class CorvaneTask<CorvaneAttribution>;
extern template class CorvaneTask<CorvaneDeepLink>;
extern template class CorvaneTask<CorvaneEventResult>;
extern template class CorvaneTask<bool>;
