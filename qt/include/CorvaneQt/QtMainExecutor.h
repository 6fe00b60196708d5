#pragma once

#include <corvane/CorvaneExecutor.h>

#include <exception>
#include <functional>
#include <memory>

namespace CorvaneQt {

/// The main executor of a Qt application: callbacks run from the event loop of the application object's
/// thread, each as an event of its own, in order, also inside a nested loop such as a dialog's.
///
/// Nothing runs before the event loop does. What is posted when the application object is gone, and what
/// still waits when it goes, is destroyed without being run, which the library takes for a refusal: tasks
/// complete and nobody waits.
///
/// A callback that throws does not unwind through Qt's event loop, which is not made for it: the exception
/// is caught here and handed to the handler that the host named, on the main thread; without one, its text is
/// logged by `qCritical` and the loop goes on. Later callbacks run.
///
/// `CorvaneTask::get` and `waitFor` on the main thread throw `std::logic_error` for an operation that is not
/// complete, as with every executor but the library's own queue: use `whenDone` or `co_await`.
class QtMainExecutor final : public CorvaneExecutor {
 public:
  using ExceptionHandler = std::function<void(std::exception_ptr)>;

  /// On the thread of the application object, while there is one; throws `std::logic_error` otherwise. What
  /// the handler throws itself ends the program.
  explicit QtMainExecutor(ExceptionHandler handler = {});
  /// On any thread. What waits is destroyed, on the main thread.
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
