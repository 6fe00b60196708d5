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

/// A posted function. Qt owns the event after `postEvent`, and deletes it undelivered when its receiver is
/// destroyed.
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
  /// Guards `receiver`. Held while an event is posted, so that the receiver is not destroyed meanwhile. No
  /// function runs or is destroyed under it.
  std::mutex mutex;
  /// nullptr after the application or the executor is destroyed. The application owns it.
  Receiver* receiver = nullptr;
};

class QtMainExecutor::Receiver : public QObject {
 public:
  Receiver(std::shared_ptr<State> state, QObject* application)
      : QObject(application), state_(std::move(state)) {
    // Detach before the application's children are destroyed: a post uses the event dispatcher, which is
    // destroyed before this object.
    connect(application, &QObject::destroyed, this, [this] { detach(); });
  }

  /// ~QObject deletes the events that are still queued for this object.
  ~Receiver() override { detach(); }

  bool event(QEvent* event) override {
    if (event->type() != callEvent) return QObject::event(event);
    const auto function = std::move(static_cast<Call*>(event)->function);
    if (!isAttached()) return true;  // refused: `function` is destroyed here
    // If the function opens a nested loop, that loop processes earlier events only after a wake-up.
    QAbstractEventDispatcher::instance()->wakeUp();
    run(function);
    return true;
  }

 private:
  /// noexcept: an exception of the handler terminates the program here instead of unwinding through Qt.
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
  // deleteLater, because the receiver may be running the function that released the last owner of this
  // executor.
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
