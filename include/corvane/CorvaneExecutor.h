#pragma once

#include <chrono>
#include <functional>

#include "corvane/CorvaneExport.h"

/// The host's main thread, on which every callback of the library runs.
///
/// A host whose main thread has its own event loop implements `post` and `isCurrentThread` for that loop and
/// sets `CorvanePlatform::mainExecutor`. A host without an event loop uses `CorvaneMainQueue`.
class CORVANE_API CorvaneExecutor {
 public:
  virtual ~CorvaneExecutor();

  /// Runs `function` once, later, on the main thread, in the order of the calls; never before `post` has
  /// returned. Called from any thread, without a lock of the library.
  ///
  /// A function that is destroyed without having run counts as refused: the library skips the callback, and
  /// the operation completes for every caller that waits for it. The same holds when `post` throws. An
  /// exception of `function` comes from a callback of the host; the executor decides where it leaves.
  virtual void post(std::function<void()> function) = 0;

  /// Returns whether the calling thread is the main thread. Called from any thread.
  virtual bool isCurrentThread() const = 0;

  /// `Corvane::configure` calls this on its own thread with the executor of the new client. An executor may
  /// make that thread the main thread. Default: no effect.
  virtual void adoptCurrentThread();

  /// Runs posted functions until `isDone` returns true or `deadline` has passed. Returns whether `isDone`
  /// returned true. `isDone` is called before the first function and after each. `CorvaneTask::get` and
  /// `waitFor` call this on the main thread; the library posts a function when their task completes, so an
  /// implementation may sleep until the next function is posted. An exception of a function leaves through
  /// this call. If it returns before the task is complete, `get` throws `std::logic_error`.
  ///
  /// Default: throws `std::logic_error` without calling `isDone`. Most event loops cannot run inside one of
  /// their own functions.
  virtual bool runUntil(const std::function<bool()>& isDone, std::chrono::steady_clock::time_point deadline);
};
