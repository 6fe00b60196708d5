#pragma once

#include <functional>

#include "corvane/CorvaneExport.h"

/// The host's main thread: where every callback of the library runs.
///
/// A host whose main thread has an event loop of its own implements the two operations on it and names the
/// object in `CorvanePlatform::mainExecutor`; one without uses `CorvaneMainQueue`.
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
};
