#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <optional>
#include <thread>

#include "foundation/DeviceIdentity.h"
#include "platform/preferences/AdvisoryLock.h"
#include "platform/preferences/PreferencesFailure.h"
#include "platform/preferences/UserDefaultsStringStore.h"
#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using namespace std::chrono_literals;
using test::ChildProcess;
using test::Shell;
using Clock = std::chrono::steady_clock;

class SharedFile : public test::PreferencesTest {
 protected:
  int openFolder() const { return ::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

  static std::chrono::milliseconds timeOf(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  }
};

TEST_F(SharedFile, HasALockThatIsWaitedForAsLongAsAskedAndNotKeptByAWaitThatTimedOut) {
  std::optional<AdvisoryLock> holder(std::in_place, openFolder(), Clock::now());
  // The first of them leaves a thread in the queue, the second one polls.
  for (const auto wait : {50ms, 60ms}) {
    const auto time =
        timeOf([&] { EXPECT_THROW(AdvisoryLock(openFolder(), Clock::now() + wait), PreferencesFailure); });
    EXPECT_GE(time, wait);
  }
  holder.reset();
  EXPECT_NO_THROW(AdvisoryLock(openFolder(), Clock::now() + 10s)) << "the thread in the queue has kept it";
}

TEST_F(SharedFile, GivesProcessesThatStartTogetherOneDeviceId) {
  const auto start = [this] {
    return std::make_unique<ChildProcess>([this] {
      std::string started;
      std::getline(std::cin, started);
      const DeviceIdentity identity{std::make_shared<UserDefaultsStringStore>(open(), "p"), "device_id"};
      std::cout << identity.deviceIdOrCreate() << std::endl;
      return 0;
    });
  };
  for (int pair = 0; pair < 15; ++pair) {
    file_ = folder_.path() / std::to_string(pair) / "preferences.sqlite";
    const auto one = start(), other = start();
    one->writeLine("start");
    other->writeLine("start");
    const auto id = one->readLine();
    EXPECT_EQ(id.value_or("").size(), 36U);
    EXPECT_EQ(other->readLine(), id);
  }
}

TEST_F(SharedFile, IsLeftToItsParentByAForkedChild) {
  auto defaults = open();
  defaults->setString("parent", "who");
  const auto other = folder_.path() / "other.sqlite";
  ChildProcess child([&] {
    if (defaults->stringForKey("who") != "parent") return 1;
    defaults->setString("child", "who");
    if (defaults->stringForKey("who") != "child" || defaults->synchronize()) return 2;
    UserDefaults::open(other)->setBool(true, "a");
    defaults.reset();
    return 0;
  });
  EXPECT_EQ(child.awaitEnd().status, 0);
  EXPECT_FALSE(std::filesystem::exists(other)) << "SQLite's record of the locks is wrong for each file";
  defaults->setBool(true, "later");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(Shell(file_).run("SELECT value FROM preferences WHERE key = 'who'"), "parent");
  expectHealthyFile();
}

TEST_F(SharedFile, IsNotHeldByAChildThatWasForkedDuringAWriteAndLivesOn) {
  // Forked first, so that it inherits nothing.
  ChildProcess writer([&] {
    std::string written;
    std::getline(std::cin, written);
    const auto defaults = open();
    defaults->setBool(true, "free");
    return defaults->synchronize() ? 0 : 1;
  });
  std::optional<ChildProcess> survivor;
  open()->updateData("data", [&](const auto&) {
    survivor.emplace([] { return ::pause(); });
    return "written";
  });
  ASSERT_TRUE(survivor);
  writer.writeLine("written");
  EXPECT_EQ(writer.awaitEnd().status, 0) << "the child keeps the lock";
}

/// Another process that holds the file: a writer of this library, or a shell.
class HeldFile : public SharedFile, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { defaults_->setString("before", "text"); }

  void hold() {
    if (GetParam()) {
      lock_.emplace(openFolder(), Clock::now());
    } else {
      ASSERT_EQ(shell_.run("BEGIN IMMEDIATE; INSERT INTO preferences VALUES ('foreign', 1)"), "");
    }
  }

  void release() {
    lock_.reset();
    if (!GetParam()) shell_.run("ROLLBACK");
  }

  DataUpdates::Result update(DataUpdates::Wait wait) {
    return defaults_->updateData("data", [](const auto&) { return "data"; }, wait);
  }

  std::shared_ptr<UserDefaults> defaults_ = open();
  Shell shell_{file_};
  std::optional<AdvisoryLock> lock_;
};

TEST_P(HeldFile, IsWaitedForOnceAndThenForAShareOfTheTimeUnlessAskedFor) {
  hold();
  EXPECT_EQ(update(DataUpdates::Wait::brief), DataUpdates::Result::busy);
  EXPECT_TRUE(problems_.empty()) << "who waits briefly tries again";
  const auto write = [&] { defaults_->setString("during", "text"); };
  const auto first = timeOf(write);
  EXPECT_GE(first, 190ms);
  EXPECT_LT(first, 1s) << "200 ms of waiting, and a loaded machine";
  const auto others = timeOf([&] {
    for (int round = 0; round < 20; ++round) defaults_->setBool(true, "key" + std::to_string(round));
  });
  EXPECT_LT(others, 2s) << "20 waits would be 4 s";
  const auto later = Clock::now() + 400ms;
  while (Clock::now() < later) defaults_->boolForKey("key0");
  EXPECT_GE(timeOf(write), 90ms) << "it is not given up for long";
  EXPECT_GE(timeOf([&] { EXPECT_FALSE(defaults_->synchronize()); }), 190ms);
  defaults_->waitForHoldersUntil(Clock::now() + 400ms);
  EXPECT_GE(timeOf(write), 390ms);
  EXPECT_EQ(defaults_->stringForKey("text"), "during");
  EXPECT_EQ(problems_.size(), 1U);
  release();
  // The threads that waited for earlier calls have their turns first.
  defaults_->waitForHoldersUntil(Clock::now() + 10s);
  EXPECT_EQ(update(DataUpdates::Wait::usual), DataUpdates::Result::done) << "takes the others along";
  EXPECT_EQ(shell_.run("SELECT value FROM preferences WHERE key = 'text'"), "during");
  EXPECT_EQ(shell_.run("SELECT count(*) FROM preferences"), "22");
  shell_.run("UPDATE preferences SET value = 'newer' WHERE key = 'text'");
  EXPECT_TRUE(defaults_->synchronize());
  EXPECT_EQ(defaults_->stringForKey("text"), "newer") << "what was taken along waits no more";
}

TEST_P(HeldFile, IsWrittenWhenTheLastOwnerOfTheObjectGoes) {
  hold();
  defaults_->setString("during", "text");
  release();
  defaults_.reset();
  EXPECT_EQ(shell_.run("SELECT value FROM preferences WHERE key = 'text'"), "during");
}

TEST_P(HeldFile, LeavesATextThatIsMadeMeanwhileToThisProcessAndTakesThatOfAnotherAfterwards) {
  hold();
  for (const char* made : {"mine", "too late"})
    EXPECT_EQ(defaults_->stringForKeyOrStore("id", [&] { return made; }), "mine");
  release();
  shell_.run("INSERT INTO preferences VALUES ('id', 'theirs')");
  EXPECT_TRUE(defaults_->synchronize());
  EXPECT_EQ(defaults_->stringForKey("id"), "theirs");
}

TEST_P(HeldFile, BlocksNoReadAndManyWritersNoLongerThanOne) {
  shell_.run("UPDATE preferences SET value = 'new'");
  hold();
  EXPECT_EQ(defaults_->stringForKey("text"), "new");
  std::vector<std::jthread> threads;
  const auto all = timeOf([&] {
    for (int number = 0; number < 8; ++number) {
      threads.emplace_back([&, key = "key" + std::to_string(number)] {
        defaults_->setBool(true, key);
        EXPECT_TRUE(defaults_->boolForKey(key));
        EXPECT_EQ(update(DataUpdates::Wait::usual), DataUpdates::Result::busy);
      });
    }
    threads.clear();
  });
  EXPECT_LT(all, 1200ms) << "the waits of several callers add up";
  release();
  EXPECT_TRUE(defaults_->synchronize());
  EXPECT_EQ(shell_.run("SELECT count(*) FROM preferences"), "9");
}

INSTANTIATE_TEST_SUITE_P(, HeldFile, ::testing::Bool(),
                         [](const auto& held) { return held.param ? "ByAWriter" : "ByAShell"; });

}  // namespace
}  // namespace corvane::platform
