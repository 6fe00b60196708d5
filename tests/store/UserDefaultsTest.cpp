#include "platform/preferences/UserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::ChildProcess;
using test::Shell;

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
  Shell(file_).run("UPDATE preferences SET value = 'theirs'; INSERT INTO preferences VALUES ('null', NULL)");
  EXPECT_EQ(defaults->stringForKey("s"), "theirs");
  EXPECT_EQ(defaults->stringForKey("null"), std::nullopt);
  EXPECT_FALSE(defaults->boolForKey("null"));
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
  const auto defaults = open();
  const std::string large(PreferencesDatabase::maximumSize + 1, 'x');
  defaults->setData(large, "large");
  defaults->setBool(true, "small");
  EXPECT_EQ(defaults->dataForKey("large"), large);
  EXPECT_EQ(Shell(file_).run("SELECT group_concat(key) FROM preferences"), "small");
  defaults->setData(large.substr(1), "large");
  EXPECT_TRUE(defaults->synchronize());
}

TEST_F(UserDefaultsFile, AForkedChildHasAConnectionOfItsOwn) {
  auto defaults = open();
  defaults->setString("parent", "who");
  ChildProcess child([&] {
    if (defaults->stringForKey("who") != "parent") return 1;
    defaults->setString("child", "who");
    // The parent's closing must find the child's locks, or it takes the log away from under the child.
    std::string closed;
    std::getline(std::cin, closed);
    defaults->setBool(true, "later");
    return defaults->synchronize() ? 0 : 2;
  });
  while (defaults->stringForKey("who") != "child") std::this_thread::yield();
  defaults.reset();
  child.writeLine("closed");
  EXPECT_EQ(child.awaitEnd().status, 0);
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
    ChildProcess child([&] {
      defaults->setBool(true, "child" + std::to_string(round));
      while (!defaults->synchronize()) std::this_thread::yield();
      return 0;
    });
    EXPECT_EQ(child.awaitEnd().status, 0);
  }
  stop = true;
  writer.join();
  EXPECT_EQ(Shell(file_).run("SELECT count(*) FROM preferences WHERE key LIKE 'child%'"), "20");
}

}  // namespace
}  // namespace corvane::platform
