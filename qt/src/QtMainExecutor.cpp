#include "CorvaneQt/QtMainExecutor.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace CorvaneQt {
namespace {

const QEvent::Type callEvent = static_cast<QEvent::Type>(QEvent::registerEventType());

/// A function on its way to the main thread. Qt owns it from `postEvent` on, and deletes it undelivered with
/// its receiver.
struct Call : QEvent {
  explicit Call(std::function<void()> f) : QEvent(callEvent), function(std::move(f)) {}
  std::function<void()> function;
};

void logException(const std::exception_ptr& exception) {
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& error) {
    qCritical("Corvane: a callback threw: %s", error.what());
  } catch (...) {
    qCritical("Corvane: a callback threw");
  }
}

}  // namespace

struct QtMainExecutor::State {
  explicit State(ExceptionHandler h) : handler(h ? std::move(h) : ExceptionHandler(logException)) {}

  const ExceptionHandler handler;
  const std::thread::id thread = std::this_thread::get_id();
  /// Guards `receiver`, and is held while an event is posted to it: so it cannot go meanwhile. No function
  /// runs or dies under it.
  std::mutex mutex;
  /// Null when the application or the executor is gone. The application owns it.
  Receiver* receiver = nullptr;
};

class QtMainExecutor::Receiver : public QObject {
 public:
  Receiver(std::shared_ptr<State> state, QObject* application)
      : QObject(application), state_(std::move(state)) {
    // Before the application's children go: the event dispatcher, which a post wakes, goes before this one.
    connect(application, &QObject::destroyed, this, [this] { detach(); });
  }

  /// What still waits for it is deleted by ~QObject.
  ~Receiver() override { detach(); }

  bool event(QEvent* event) override {
    if (event->type() != callEvent) return QObject::event(event);
    const auto function = std::move(static_cast<Call*>(event)->function);
    if (!isAttached()) return true;  // refused: `function` dies here
    // A loop that the function may open sees what was queued before it only when it is woken.
    QAbstractEventDispatcher::instance()->wakeUp();
    run(function);
    return true;
  }

 private:
  /// Nothing leaves it: an exception of the handler ends the program here, not in the middle of Qt.
  void run(const std::function<void()>& function) const noexcept {
    try {
      function();
    } catch (...) {
      state_->handler(std::current_exception());
    }
  }
  void detach() {
    const std::lock_guard lock(state_->mutex);
    if (state_->receiver == this) state_->receiver = nullptr;
  }
  bool isAttached() const {
    const std::lock_guard lock(state_->mutex);
    return state_->receiver == this;
  }

  const std::shared_ptr<State> state_;
};

QtMainExecutor::QtMainExecutor(ExceptionHandler handler)
    : state_(std::make_shared<State>(std::move(handler))) {
  QCoreApplication* const application = QCoreApplication::instance();
  if (application == nullptr || application->thread() != QThread::currentThread())
    throw std::logic_error("CorvaneQt::QtMainExecutor is made on the thread of the application object");
  state_->receiver = new Receiver(state_, application);
}

QtMainExecutor::~QtMainExecutor() {
  const std::lock_guard lock(state_->mutex);
  // It may be in the middle of the function that dropped the last owner of this.
  if (Receiver* const receiver = std::exchange(state_->receiver, nullptr)) receiver->deleteLater();
}

void QtMainExecutor::post(std::function<void()> function) {
  auto call = std::make_unique<Call>(std::move(function));
  const std::lock_guard lock(state_->mutex);
  if (state_->receiver != nullptr) QCoreApplication::postEvent(state_->receiver, call.release());
}

bool QtMainExecutor::isCurrentThread() const {
  return std::this_thread::get_id() == state_->thread;
}

}  // namespace CorvaneQt
