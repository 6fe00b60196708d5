#pragma once

#include <corvane/CorvaneExecutor.h>

#include <exception>
#include <functional>
#include <memory>

namespace CorvaneQt {

/// The main executor of a Qt application. Functions run from the event loop of the application object's
/// thread, each as one event, in order, also in a nested loop such as that of a dialog.
///
/// No function runs before the event loop does. A function that is posted after the application object is
/// destroyed, or is still queued at that time, is destroyed without being run. The library treats that as a
/// refusal: tasks complete, and no caller waits forever.
///
/// Errors: an exception of a callback must not unwind through Qt's event loop. The executor catches it and
/// passes it to the handler, on the main thread. Without a handler its text is logged with `qCritical`. Later
/// callbacks run in both cases.
///
/// Waiting: `runUntil` is not overridden, so `CorvaneTask::get` and `waitFor` on the main thread throw
/// `std::logic_error` for an incomplete operation. Use `whenDone` or `co_await`.
class QtMainExecutor final : public CorvaneExecutor {
 public:
  using ExceptionHandler = std::function<void(std::exception_ptr)>;

  /// Call it on the thread of the application object, while that object exists; otherwise it throws
  /// `std::logic_error`. An exception that `handler` throws terminates the program.
  explicit QtMainExecutor(ExceptionHandler handler = {});
  /// May run on any thread. Queued functions are destroyed on the main thread.
  ~QtMainExecutor() override;
  QtMainExecutor(const QtMainExecutor&) = delete;
  QtMainExecutor& operator=(const QtMainExecutor&) = delete;

  void post(std::function<void()> function) override;
  bool isCurrentThread() const override;

 private:
  class Receiver;
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace CorvaneQt
