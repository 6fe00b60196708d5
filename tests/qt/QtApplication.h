#pragma once

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <functional>
#include <memory>

namespace corvane::test {

/// A Qt application without a screen, on the test's thread. `application` may be reset within a test.
struct QtApplication : ::testing::Test {
  QtApplication() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    application = std::make_unique<QGuiApplication>(count, arguments);
  }

  /// Runs the event loop until something holds, or for too long.
  static ::testing::AssertionResult comesTrue(const std::function<bool()>& condition) {
    QDeadlineTimer deadline(30'000);
    while (!condition() && !deadline.hasExpired())
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    return condition() ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "not within 30 s";
  }

  int count = 1;
  char name[6] = "tests";
  char* arguments[2] = {name, nullptr};
  std::unique_ptr<QGuiApplication> application;
};

}  // namespace corvane::test
