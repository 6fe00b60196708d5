#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <utility>
#include <vector>

#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::ChildProcess;
using test::Shell;

class DamagedFile : public test::PreferencesTest {
 protected:
  void makeHealthyFile() {
    const auto defaults = open();
    for (int number = 0; number < 50; ++number) {
      defaults->setData(std::string(3000, 'x'), "key" + std::to_string(number));
    }
  }

  void expectLeftAlone(const std::string& reason) {
    const std::string before = test::contentOf(file_);
    auto defaults = open();
    defaults->setBool(true, "a");
    EXPECT_TRUE(defaults->boolForKey("a"));
    EXPECT_FALSE(defaults->synchronize());
    defaults.reset();
    ASSERT_EQ(problems_.size(), 1u);
    EXPECT_NE(problems_[0].find(reason), std::string::npos) << problems_[0];
    EXPECT_EQ(test::contentOf(file_), before);
    EXPECT_TRUE(keptFiles().empty());
  }
};

TEST_F(DamagedFile, IsSetAsideWhateverIsWrongWithItAndNoneThatWasIsLost) {
  const std::function<void()> damages[] = {
      [this] { test::writeContent(file_, "garbage"); },
      [this] { test::writeContent(file_, std::string(10'000, '\0')); },
      [this] { std::filesystem::resize_file(file_, std::filesystem::file_size(file_) / 2); },
      [this] { Shell(file_).run("DROP TABLE preferences; CREATE TABLE preferences (name, text)"); },
      [this] { Shell(file_).run("CREATE INDEX other ON preferences (value)"); },
      // It must not run.
      [this] {
        Shell(file_).run(
            "CREATE TRIGGER endless AFTER INSERT ON preferences BEGIN SELECT max(x) FROM "
            "(WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x FROM n) SELECT x FROM n); END");
      }};
  std::vector<std::string> contents;
  for (const auto& damage : damages) {
    std::filesystem::remove(file_);
    makeHealthyFile();
    damage();
    contents.push_back(test::contentOf(file_));
    problems_.clear();
    const auto defaults = open();
    EXPECT_EQ(defaults->dataForKey("key0"), std::nullopt);
    defaults->setBool(true, "fresh");
    EXPECT_TRUE(defaults->synchronize());
    EXPECT_EQ(problems_.size(), 1u);
    EXPECT_EQ(Shell(file_).run("SELECT group_concat(key) FROM preferences"), "fresh");
    const auto kept = keptFiles();
    for (const std::string& content : contents) EXPECT_EQ(std::ranges::count(kept, content), 1);
  }
}

TEST_F(DamagedFile, FoundByALaterReadIsSetAsideWithItsLogAndThePendingValueSurvives) {
  makeHealthyFile();
  const auto defaults = open();
  ASSERT_TRUE(defaults->dataForKey("key0"));
  // Page 1 stays whole, so that only the way to the values is broken.
  std::string content = test::contentOf(file_);
  std::fill(content.begin() + 4096, content.end(), '\xEE');
  // The first page's tree must lead through a broken page: the table has far more than one.
  ChildProcess child([&] {
    test::writeContent(file_, content);
    return 0;
  });
  ASSERT_EQ(child.awaitEnd().status, 0);
  EXPECT_EQ(defaults->dataForKey("key49"), std::nullopt);
  defaults->setBool(true, "fresh");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_GE(keptFiles().size(), 2U) << "the log is kept too";
  EXPECT_EQ(Shell(file_).run("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(Shell(file_).run("SELECT group_concat(key) FROM preferences"), "fresh");
}

TEST_F(DamagedFile, OfALaterVersionOrAnotherProgramIsLeftAlone) {
  makeHealthyFile();
  Shell(file_).run("PRAGMA user_version = 2; PRAGMA wal_checkpoint(TRUNCATE)");
  expectLeftAlone("later version");
  std::filesystem::remove(file_);
  problems_.clear();
  // Killed, so that it leaves a log, which is not ours to write back either.
  ChildProcess program([&] {
    Shell shell(file_);
    shell.run(
        "PRAGMA journal_mode = WAL;"
        "CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID;"
        "INSERT INTO preferences VALUES ('precious', 1)");
    return ::raise(SIGKILL);
  });
  EXPECT_EQ(program.awaitEnd().status, -SIGKILL);
  expectLeftAlone("another program");
}

TEST_F(DamagedFile, BehindASymbolicLinkIsNotRenamed) {
  const auto link = std::exchange(file_, folder_.path() / "target.sqlite");
  open()->setBool(true, "a");
  std::filesystem::create_symlink(file_, link);
  const auto target = std::exchange(file_, link);
  EXPECT_TRUE(open()->boolForKey("a"));
  test::writeContent(target, "garbage");
  expectLeftAlone("cannot be used");

  // One that takes the place of the file at run time is not followed.
  std::filesystem::remove(link);
  const auto defaults = open();
  defaults->setBool(true, "a");
  std::filesystem::remove(link);
  std::filesystem::create_symlink(target, link);
  defaults->setBool(true, "b");
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_TRUE(defaults->boolForKey("b"));
  EXPECT_EQ(test::contentOf(target), "garbage");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_TRUE(keptFiles().empty());
}

}  // namespace
}  // namespace corvane::platform
