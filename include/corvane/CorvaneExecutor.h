#pragma once

#include <chrono>
#include <functional>

#include "corvane/CorvaneExport.h"

/// The host's main thread: where every callback of the library runs.
///
/// A host whose main thread has an event loop of its own implements `post` and `isCurrentThread` on it and
/// names the object in `CorvanePlatform::mainExecutor`; one without uses `CorvaneMainQueue`.
class CORVANE_API CorvaneExecutor {
 public:
  virtual ~CorvaneExecutor();

  /// Runs `function` later, once, on the main thread, in the order of the calls; never before `post` has
  /// returned. Called from any thread, under no lock of the library.
  ///
  /// A function that is destroyed without having run counts as refused: the library goes on without calling
  /// the host, and whoever awaits the operation is answered all the same. What `function` throws is thrown by
  /// a callback of the host and is the executor's to let out.
  virtual void post(std::function<void()> function) = 0;

  /// Whether the calling thread is the main thread. Called from any thread.
  virtual bool isCurrentThread() const = 0;

  /// Called by `Corvane::configure`, on its own thread, with the executor that the new client will use. An
  /// executor whose thread is decided otherwise ignores it, as this default does.
  virtual void adoptCurrentThread();

  /// Runs posted functions until `isDone` returns true or `deadline` has passed, and returns whether it did.
  /// `isDone` is asked before the first function and after each. `CorvaneTask::get` and `waitFor` call this
  /// on the main thread; a function is posted when their task completes, so that an implementation may sleep
  /// until the next function comes. What a function throws leaves through this call.
  ///
  /// Default: throws `std::logic_error`, before it asks `isDone`. Most event loops cannot be run from inside
  /// one of their own functions.
  virtual bool runUntil(const std::function<bool()>& isDone, std::chrono::steady_clock::time_point deadline);
};
