#include "platform/UserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::Child;
using test::Shell;
using test::Signal;

class UserDefaultsFile : public ::testing::Test {
 protected:
  std::shared_ptr<UserDefaults> open() const { return UserDefaults::open(file_); }

  static unsigned modeOf(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "data" / "app" / "preferences.sqlite";
};

TEST_F(UserDefaultsFile, ValuesOutliveTheObject) {
  auto defaults = open();
  defaults->setString("4F0C", "io.corvane.device_id");
  defaults->setBool(true, "io.corvane.install_tracked");
  defaults->setData("[]", "io.corvane.event_queue");
  defaults.reset();
  defaults = open();
  EXPECT_EQ(defaults->stringForKey("io.corvane.device_id"), "4F0C");
  EXPECT_TRUE(defaults->boolForKey("io.corvane.install_tracked"));
  EXPECT_EQ(defaults->dataForKey("io.corvane.event_queue"), "[]");
}

TEST_F(UserDefaultsFile, IsForItsOwnerOnlyAndNotThereBeforeTheFirstAccess) {
  const auto defaults = open();
  EXPECT_FALSE(std::filesystem::exists(file_.parent_path()));
  defaults->setBool(true, "a");
  EXPECT_EQ(modeOf(file_), 0600u);
  EXPECT_EQ(modeOf(file_.string() + "-wal"), 0600u);
  EXPECT_EQ(modeOf(file_.string() + "-shm"), 0600u);
  EXPECT_EQ(modeOf(file_.parent_path()), 0700u);
  EXPECT_EQ(modeOf(file_.parent_path().parent_path()), 0700u);
}

TEST_F(UserDefaultsFile, ReadsInTheShellAsOneTableOfTypedValues) {
  const auto defaults = open();
  defaults->setString("text", "s");
  defaults->setBool(true, "b");
  defaults->setData("bytes", "d");
  Shell shell(file_);
  EXPECT_EQ(shell.run("SELECT group_concat(key || '=' || value || ':' || typeof(value)) FROM "
                      "(SELECT * FROM preferences ORDER BY key)"),
            "b=1:integer,d=bytes:blob,s=text:text");
  EXPECT_EQ(shell.run("PRAGMA journal_mode"), "wal");
  defaults->removeObjectForKey("s");
  EXPECT_EQ(shell.run("SELECT count(*) FROM preferences"), "2");
}

TEST_F(UserDefaultsFile, SeesWhatAnotherProgramWrote) {
  const auto defaults = open();
  defaults->setString("mine", "s");
  Shell shell(file_);
  for (int round = 0; round < 3; ++round) {
    const std::string text = std::to_string(round);
    ASSERT_EQ(shell.run("UPDATE preferences SET value = '" + text + "'"), "");
    EXPECT_EQ(defaults->stringForKey("s"), text);
  }
  shell.run("INSERT INTO preferences VALUES ('real', 1.0), ('null', NULL), ('two', 2)");
  EXPECT_FALSE(defaults->boolForKey("real"));
  EXPECT_FALSE(defaults->boolForKey("null"));
  EXPECT_EQ(defaults->stringForKey("null"), std::nullopt);
  EXPECT_TRUE(defaults->boolForKey("two"));
}

TEST_F(UserDefaultsFile, StartsAfreshWhenItIsDeletedUnderneath) {
  const auto defaults = open();
  defaults->setBool(true, "old");
  std::filesystem::remove_all(file_.parent_path());
  EXPECT_FALSE(defaults->boolForKey("old"));
  defaults->setBool(true, "new");
  EXPECT_EQ(Shell(file_).run("SELECT key FROM preferences"), "new");
}

TEST_F(UserDefaultsFile, KeepsATooLargeValueInMemoryAndStoresTheOthers) {
  std::vector<std::string> problems;
  auto defaults = open();
  defaults->reportProblemsTo([&](const std::string& text) { problems.push_back(text); });
  const std::string large(PreferencesDatabase::maximumSize + 1, 'x');
  defaults->setData(large, "large");
  defaults->setBool(true, "small");
  EXPECT_EQ(defaults->dataForKey("large"), large);
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_EQ(problems.size(), 1u);
  EXPECT_EQ(Shell(file_).run("SELECT group_concat(key) FROM preferences"), "small");
  const std::string largest(PreferencesDatabase::maximumSize, 'x');
  defaults->setData(largest, "large");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->dataForKey("large"), largest);
}

TEST_F(UserDefaultsFile, TwoProcessesLoseNothing) {
  constexpr int rounds = 100;
  const auto fill = [this](const std::string& prefix) {
    const auto defaults = open();
    for (int round = 0; round < rounds; ++round) defaults->setBool(true, prefix + std::to_string(round));
    // On a busy disk one may find the file held for longer than a call waits.
    while (!defaults->synchronize()) std::this_thread::yield();
    return 0;
  };
  Child child([&] { return fill("child"); });
  EXPECT_EQ(fill("parent"), 0);
  EXPECT_EQ(child.result(), 0);
  EXPECT_EQ(Shell(file_).run("SELECT count(*) FROM preferences"), std::to_string(2 * rounds));
}

TEST_F(UserDefaultsFile, AForkedChildHasAConnectionOfItsOwn) {
  auto defaults = open();
  defaults->setString("parent", "who");
  Signal closed;
  Child child([&] {
    if (defaults->stringForKey("who") != "parent") return 1;
    defaults->setString("child", "who");
    // The parent's closing must find the child's locks, or it takes the log away from under the child.
    closed.wait();
    defaults->setBool(true, "later");
    return defaults->synchronize() ? 0 : 2;
  });
  while (defaults->stringForKey("who") != "child") std::this_thread::yield();
  defaults.reset();
  closed.raise();
  EXPECT_EQ(child.result(), 0);
  EXPECT_TRUE(open()->boolForKey("later"));
  EXPECT_EQ(Shell(file_).run("PRAGMA integrity_check"), "ok");
}

TEST_F(UserDefaultsFile, AForkBesideBusyThreadsIsSafe) {
  const auto defaults = open();
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    for (int round = 0; !stop; ++round) defaults->setBool(true, "thread" + std::to_string(round % 5));
  });
  for (int round = 0; round < 20; ++round) {
    Child child([&] {
      defaults->setBool(true, "child" + std::to_string(round));
      while (!defaults->synchronize()) std::this_thread::yield();
      return 0;
    });
    EXPECT_EQ(child.result(), 0);
  }
  stop = true;
  writer.join();
  EXPECT_EQ(Shell(file_).run("SELECT count(*) FROM preferences WHERE key LIKE 'child%'"), "20");
}

#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
TEST_F(UserDefaultsFile, AChildThatWasForkedBehindItsBackKeepsToItsMemory) {
  const auto defaults = open();
  defaults->setString("parent", "who");
  const pid_t child = ::_Fork();
  if (child == 0) {
    defaults->setString("child", "who");
    ::_exit(defaults->stringForKey("who") == "child" && !defaults->synchronize() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(defaults->stringForKey("who"), "parent");
}
#endif

}  // namespace
}  // namespace corvane::platform
