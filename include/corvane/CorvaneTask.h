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

/// A handle of one operation that has already started and completes later with a `T`, a `CorvaneError` or a
/// `CorvaneCancellationError`.
///
/// Handles are copyable, refer to the same operation, and may be used from any thread. Any number of them may
/// wait, at any time, also after completion. Dropping every handle detaches: the operation goes on.
template <class T>
class CORVANE_API CorvaneTask {
 public:
  class Awaiter;

  CorvaneTask(const CorvaneTask&) noexcept;
  CorvaneTask& operator=(const CorvaneTask&) noexcept;
  ~CorvaneTask();

  /// Waits for completion and returns the result, or throws the operation's failure. May be called again.
  ///
  /// On the main thread, a `CorvaneMainQueue` goes on running its functions while this waits, so that nothing
  /// that the operation needs of the main thread is held up; what a host callback throws there leaves through
  /// `get`, and the handle stays usable. A callback that waits counts as returned for the operation that
  /// called it. With any other executor, waiting on the main thread for an operation that is not complete
  /// throws `std::logic_error`: use `whenDone` or `co_await`. So does waiting on the library's own thread,
  /// where a pasteboard or an executor may be called.
  T get() const;

  /// Waits as `get` does, at most so long, and returns whether the operation is complete.
  bool waitFor(std::chrono::nanoseconds duration) const;

  /// Whether `get` would return or throw at once.
  bool isDone() const;

  /// Calls `callback` once on the main thread with this task, complete, so that `get` does not wait; never
  /// inside this call. Where the main executor refuses, the callback is destroyed without being called.
  void whenDone(std::function<void(CorvaneTask)> callback) const;

  /// Asks the operation to stop. It is heeded while the operation waits between two tries and during an
  /// exchange, and then fails it with `CorvaneCancellationError` (or, on the last try, a `transport` error).
  /// Elsewhere, late or again, it has no effect. The run that callers of `trackInstallAsync` share is never
  /// stopped by one of them.
  void cancel() const;

  /// `co_await task` continues on the main thread, never inline, and gives what `get` gives. Works in every
  /// coroutine whose promise takes a plain awaiter. Where the main executor refuses, the coroutine continues
  /// on the thread that destroyed the continuation, with
  /// `CorvaneCancellationError`. A coroutine that waits here must not be destroyed before it has gone on.
  Awaiter operator co_await() const { return Awaiter(*this); }

  /// Not for hosts: the library makes tasks.
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
    // The coroutine may go on, and this awaiter be gone, before the call returns.
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
