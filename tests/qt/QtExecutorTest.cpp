#include <QEventLoop>
#include <QTimer>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CorvaneQt/CorvaneQt.h"
#include "qt/QtApplication.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

struct QtMainExecutor : QtApplication {
  std::function<void()> note(const std::string& line) {
    return [this, line] { lines.push_back(line); };
  }
  Lines linesSoFar() {
    QCoreApplication::processEvents();
    return std::exchange(lines, {});
  }

  Lines lines;
};

TEST_F(QtMainExecutor, RunsFromTheEventLoopInOrderAndNeverInline) {
  CorvaneQt::QtMainExecutor executor;
  executor.post(note("first"));
  std::thread([&] {
    EXPECT_FALSE(executor.isCurrentThread());
    executor.post(note("second"));
  }).join();
  executor.post([&] {
    executor.post(note("fourth"));
    note("third")();
  });
  EXPECT_TRUE(executor.isCurrentThread());
  EXPECT_EQ(lines, Lines());
  EXPECT_TRUE(comesTrue([&] { return lines.size() == 4; }));
  EXPECT_EQ(lines, (Lines{"first", "second", "third", "fourth"}));
}

TEST_F(QtMainExecutor, BelongsToTheApplicationsThreadAndLeavesNothingBehind) {
  std::thread([] { EXPECT_THROW(CorvaneQt::QtMainExecutor(), std::logic_error); }).join();
  const auto children = application->children().size();
  {
    const CorvaneQt::QtMainExecutor executor;
  }
  QEventLoop loop;
  QTimer::singleShot(0, &loop, &QEventLoop::quit);
  loop.exec();
  EXPECT_EQ(application->children().size(), children);
}

TEST_F(QtMainExecutor, RunsWhatWaitsInsideANestedLoop) {
  CorvaneQt::QtMainExecutor executor;
  QEventLoop dialog;
  executor.post([&] {
    QTimer::singleShot(10'000, &dialog, &QEventLoop::quit);
    dialog.exec();
    note("dialog closed")();
  });
  executor.post([&] {
    note("inside")();
    dialog.quit();
  });
  EXPECT_TRUE(comesTrue([&] { return lines.size() == 2; }));
  EXPECT_EQ(lines, (Lines{"inside", "dialog closed"}));
}

TEST_F(QtMainExecutor, PassesWhatACallbackThrowsToTheHandlerAndGoesOn) {
  CorvaneQt::QtMainExecutor executor([this](const std::exception_ptr& thrown) {
    try {
      std::rethrow_exception(thrown);
    } catch (const std::exception& error) {
      note(error.what())();
    }
  });
  executor.post([] { throw std::runtime_error("thrown"); });
  executor.post(note("next"));
  EXPECT_EQ(linesSoFar(), (Lines{"thrown", "next"}));
  CorvaneQt::QtMainExecutor withoutHandler;
  withoutHandler.post([] { throw 7; });
  withoutHandler.post(note("next"));
  EXPECT_EQ(linesSoFar(), Lines{"next"});
}

TEST_F(QtMainExecutor, DropsWhatWaitsWhenItOrTheApplicationIsDestroyed) {
  const auto owned = std::make_shared<int>();
  auto executor = std::make_unique<CorvaneQt::QtMainExecutor>();
  executor->post([owned, note = note("too late")] { note(); });
  executor.reset();
  EXPECT_EQ(linesSoFar(), Lines());
  EXPECT_EQ(owned.use_count(), 1);

  CorvaneQt::QtMainExecutor last;
  last.post([owned, note = note("too late")] { note(); });
  application.reset();
  EXPECT_EQ(owned.use_count(), 1);
  last.post([owned, note = note("too late")] { note(); });
  EXPECT_EQ(owned.use_count(), 1);
  EXPECT_THROW(CorvaneQt::QtMainExecutor(), std::logic_error);
  EXPECT_EQ(lines, Lines());
}

TEST_F(QtMainExecutor, RunsOrDestroysEverythingThatThreadsPostWhileTheApplicationIsDestroyed) {
  const auto owned = std::make_shared<int>();
  std::atomic<int> posted = 0;
  CorvaneQt::QtMainExecutor executor;
  std::atomic<bool> ends = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!ends) {
        executor.post([owned] {});
        ++posted;
      }
    });
  }
  EXPECT_TRUE(comesTrue([&] { return posted > 1000; }));
  application.reset();
  ends = true;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(owned.use_count(), 1);
}

}  // namespace
}  // namespace corvane::test
