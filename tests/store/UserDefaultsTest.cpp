#include "platform/preferences/UserDefaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/preferences/UserDefaultsFlagStore.h"
#include "platform/preferences/UserDefaultsStringStore.h"
#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::Shell;

class UserDefaultsFile : public test::PreferencesTest {
 protected:
  UserDefaultsFile() { file_ = folder_.path() / "data" / "app" / "preferences.sqlite"; }

  static unsigned modeOf(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }
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

TEST_F(UserDefaultsFile, HasOneObjectForAllSpellingsOfItsPath) {
  EXPECT_EQ(open(), UserDefaults::open(folder_.path() / "data" / "other" / ".." / "app" / file_.filename()));
}

TEST_F(UserDefaultsFile, ReadsInTheShellAsOneTableOfTypedValues) {
  const auto defaults = open();
  UserDefaultsStringStore(defaults, "p").setString("text", "s");
  UserDefaultsFlagStore(defaults, "p").setBool(true, "b");
  defaults->setData("bytes", "d");
  Shell shell(file_);
  EXPECT_EQ(shell.run("SELECT group_concat(key || '=' || value || ':' || typeof(value)) FROM "
                      "(SELECT * FROM preferences ORDER BY key)"),
            "d=bytes:blob,p.b=1:integer,p.s=text:text");
  EXPECT_EQ(shell.run("PRAGMA journal_mode"), "wal");
  defaults->removeObjectForKey("p.s");
  EXPECT_EQ(shell.run("SELECT count(*) FROM preferences"), "2");
}

TEST_F(UserDefaultsFile, SeesWhatAnotherProgramWrote) {
  const auto defaults = open();
  defaults->setString("mine", "s");
  Shell(file_).run(
      "UPDATE preferences SET value = 'theirs'; INSERT INTO preferences VALUES ('null', NULL),"
      " ('large', zeroblob(16777216 + 5000))");
  EXPECT_EQ(defaults->stringForKey("s"), "theirs");
  EXPECT_EQ(defaults->stringForKey("null"), std::nullopt);
  EXPECT_FALSE(defaults->boolForKey("null"));
  EXPECT_EQ(defaults->dataForKey("large"), std::nullopt);
  EXPECT_TRUE(problems_.empty());
}

TEST_F(UserDefaultsFile, StartsAfreshWhenItIsDeletedUnderneath) {
  const auto defaults = open();
  defaults->setBool(true, "old");
  std::filesystem::remove_all(file_.parent_path());
  EXPECT_FALSE(defaults->boolForKey("old"));
  defaults->setBool(true, "new");
  EXPECT_EQ(Shell(file_).run("SELECT key FROM preferences"), "new");
}

TEST_F(UserDefaultsFile, IsGivenTheSharedTextAgainWhenItVanishesOrIsReplacedAndOnlyThen) {
  const auto defaults = open();
  const auto make = [&](std::string text) {
    return defaults->stringForKeyOrStore("id", [&] { return text; });
  };
  const auto inFile = [this] { return Shell(file_).run("SELECT value FROM preferences WHERE key = 'id'"); };
  EXPECT_EQ(make("first"), "first");
  std::filesystem::remove(file_);
  EXPECT_FALSE(defaults->boolForKey("other"));
  EXPECT_EQ(inFile(), "first");
  ASSERT_EQ(problems_.size(), 1U);
  EXPECT_NE(problems_[0].find("vanished"), std::string::npos);

  const auto other = folder_.path() / "other.sqlite";
  UserDefaults::open(other)->setBool(true, "other");
  std::filesystem::rename(other, file_);
  defaults->updateData("data", [](const auto&) { return "data"; });
  EXPECT_EQ(inFile(), "first");
  EXPECT_TRUE(defaults->boolForKey("other")) << "the log of the old file is not applied to the new one";
  EXPECT_EQ(make("second"), "first");

  Shell(file_).run("DELETE FROM preferences");
  EXPECT_FALSE(defaults->boolForKey("other"));
  EXPECT_EQ(inFile(), "") << "another process has removed it from the same file";
  make("third");
  std::filesystem::remove(file_);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(inFile(), "third");
  defaults->removeObjectForKey("id");
  std::filesystem::remove(file_);
  EXPECT_FALSE(defaults->boolForKey("other"));
  EXPECT_EQ(inFile(), "");
  EXPECT_EQ(problems_.size(), 1U);
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

}  // namespace
}  // namespace corvane::platform
