#include <corvane.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CorvaneQt/CorvaneQt.h"
#include "qt/QtApplication.h"
#include "support/BaseURL.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using CorvaneQt::QtMainExecutor;
using Lines = std::vector<std::string>;

struct QtExecutor : QtApplication {
  std::function<void()> note(const std::string& line) {
    return [this, line] { lines.push_back(line); };
  }
  Lines linesSoFar() {
    QCoreApplication::processEvents();
    return std::exchange(lines, {});
  }

  Lines lines;
};

TEST_F(QtExecutor, RunsFromTheEventLoopInOrderAndNeverInline) {
  QtMainExecutor executor;
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

TEST_F(QtExecutor, HandsWhatACallbackThrowsToTheHandlerAndGoesOn) {
  QtMainExecutor executor([this](const std::exception_ptr& thrown) {
    try {
      std::rethrow_exception(thrown);
    } catch (const std::exception& error) {
      note(error.what())();
    }
  });
  executor.post([] { throw std::runtime_error("thrown"); });
  executor.post(note("next"));
  EXPECT_EQ(linesSoFar(), (Lines{"thrown", "next"}));
  QtMainExecutor withoutHandler;
  withoutHandler.post([] { throw 7; });
  withoutHandler.post(note("next"));
  EXPECT_EQ(linesSoFar(), Lines{"next"});
}

TEST_F(QtExecutor, DropsWhatWaitsWhenItOrTheApplicationGoes) {
  const auto owned = std::make_shared<int>();
  auto executor = std::make_unique<QtMainExecutor>();
  executor->post([owned, note = note("too late")] { note(); });
  executor.reset();
  EXPECT_EQ(linesSoFar(), Lines());
  EXPECT_EQ(owned.use_count(), 1);

  QtMainExecutor last;
  last.post([owned, note = note("too late")] { note(); });
  application.reset();
  EXPECT_EQ(owned.use_count(), 1);
  last.post([owned, note = note("too late")] { note(); });
  EXPECT_EQ(owned.use_count(), 1);
  EXPECT_THROW(QtMainExecutor(), std::logic_error);
  EXPECT_EQ(lines, Lines());
}

TEST_F(QtExecutor, DropsOrRunsEverythingThatThreadsPostWhileTheApplicationGoes) {
  std::atomic<int> alive = 0, posted = 0;
  struct Counted {
    explicit Counted(std::atomic<int>& c) : count(c) { ++count; }
    ~Counted() { --count; }
    std::atomic<int>& count;
  };
  QtMainExecutor executor;
  std::atomic<bool> ends = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!ends) {
        executor.post([counted = std::make_shared<Counted>(alive)] {});
        ++posted;
      }
    });
  }
  EXPECT_TRUE(comesTrue([&] { return posted > 1000; }));
  application.reset();
  ends = true;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(alive, 0);
}

TEST_F(QtExecutor, ServesAClientAndLeavesNoTaskWaiting) {
  const TemporaryFolder folder;
  CorvanePlatform platform = CorvaneQt::platform();
  platform.preferencesFile = folder.path() / "preferences.sqlite";
  Corvane::setPlatform(platform);
  setBaseURL("http://127.0.0.1:9");
  const auto client = Corvane::configure("cv_qt", {.autoTrackInstall = false});
  const auto task = client->requestTrackingAuthorizationAsync();
  EXPECT_THROW(task.get(), std::logic_error);
  task.whenDone([this](const CorvaneTask<bool>&) { lines.push_back("done"); });
  EXPECT_TRUE(comesTrue([&] { return lines == Lines{"done"}; }));
  EXPECT_FALSE(task.get());
  application.reset();
  EXPECT_FALSE(client->requestTrackingAuthorizationAsync().get());
  Corvane::setShared(nullptr);
  Corvane::setPlatform({});
}

}  // namespace
}  // namespace corvane::test
