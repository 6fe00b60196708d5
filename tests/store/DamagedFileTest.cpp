#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "platform/UserDefaults.h"
#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::Child;
using test::Shell;

class DamagedFile : public ::testing::Test {
 protected:
  std::shared_ptr<UserDefaults> open() {
    auto defaults = UserDefaults::open(file_);
    defaults->reportProblemsTo([this](const std::string& text) { problems_.push_back(text); });
    return defaults;
  }

  void makeHealthyFile() {
    const auto defaults = UserDefaults::open(file_);
    for (int number = 0; number < 50; ++number) {
      defaults->setData(std::string(3000, 'x'), "key" + std::to_string(number));
    }
  }

  /// The set-aside files without their companions.
  std::vector<std::string> setAside() const {
    std::vector<std::string> names = test::namesWith(".corrupt-", folder_.path());
    std::erase_if(names,
                  [](const std::string& name) { return name.ends_with("-wal") || name.ends_with("-shm"); });
    return names;
  }

  void expectSetAsideAndFresh(const std::string& before) {
    const auto defaults = open();
    EXPECT_EQ(defaults->dataForKey("key0"), std::nullopt);
    defaults->setBool(true, "fresh");
    EXPECT_TRUE(defaults->synchronize());
    ASSERT_EQ(setAside().size(), 1u);
    EXPECT_EQ(test::contentOf(folder_.path() / setAside()[0]), before);
    ASSERT_EQ(problems_.size(), 1u);
    EXPECT_NE(problems_[0].find(setAside()[0]), std::string::npos);
    EXPECT_EQ(Shell(file_).run("SELECT group_concat(key) FROM preferences"), "fresh");
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
    EXPECT_TRUE(setAside().empty());
  }

  test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "preferences.sqlite";
  std::vector<std::string> problems_;
};

TEST_F(DamagedFile, OfGarbageIsSetAside) {
  for (const std::string& garbage :
       {std::string("garbage"), std::string(50, '\0'), std::string(10'000, 'g')}) {
    for (const std::string& name : setAside()) std::filesystem::remove(folder_.path() / name);
    problems_.clear();
    std::filesystem::remove(file_);
    test::writeContent(file_, garbage);
    expectSetAsideAndFresh(garbage);
  }
}

TEST_F(DamagedFile, ThatWasCutShortIsSetAside) {
  makeHealthyFile();
  std::filesystem::resize_file(file_, std::filesystem::file_size(file_) / 2);
  expectSetAsideAndFresh(test::contentOf(file_));
}

TEST_F(DamagedFile, OfOursWithoutOurTableIsSetAside) {
  makeHealthyFile();
  Shell(file_).run("DROP TABLE preferences; CREATE TABLE preferences (name, text)");
  expectSetAsideAndFresh(test::contentOf(file_));
}

TEST_F(DamagedFile, OfOursWithATriggerIsSetAsideBeforeTheTriggerRuns) {
  makeHealthyFile();
  ASSERT_EQ(
      Shell(file_).run("CREATE TRIGGER endless AFTER INSERT ON preferences BEGIN SELECT max(x) FROM "
                       "(WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x FROM n) SELECT x FROM n); END"),
      "");
  expectSetAsideAndFresh(test::contentOf(file_));
}

TEST_F(DamagedFile, FoundByALaterReadIsSetAsideWithItsLogAndThePendingValueSurvives) {
  makeHealthyFile();
  const auto defaults = open();
  ASSERT_TRUE(defaults->dataForKey("key0"));
  // Page 1 stays whole, so that only the way to the values is broken.
  std::string content = test::contentOf(file_);
  std::fill(content.begin() + 4096, content.end(), '\xEE');
  // The first page's tree must lead through a broken page: the table has far more than one.
  Child child([&] {
    test::writeContent(file_, content);
    return 0;
  });
  ASSERT_EQ(child.result(), 0);
  EXPECT_EQ(defaults->dataForKey("key49"), std::nullopt);
  defaults->setBool(true, "fresh");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_FALSE(setAside().empty());
  EXPECT_EQ(Shell(file_).run("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(Shell(file_).run("SELECT group_concat(key) FROM preferences"), "fresh");
}

TEST_F(DamagedFile, TakesItsLogAndJournalAlongAndOverwritesNoEarlierOne) {
  for (int round = 0; round < 3; ++round) {
    const std::string mark = std::to_string(round);
    std::filesystem::remove(file_);
    for (const char* suffix : {"", "-wal", "-shm"})
      test::writeContent(file_.string() + suffix, "garbage" + mark);
    problems_.clear();
    const auto defaults = open();
    defaults->setBool(true, "fresh");
    EXPECT_TRUE(defaults->synchronize());
  }
  std::vector<std::string> contents;
  for (const std::string& name : test::namesWith(".corrupt-", folder_.path())) {
    contents.push_back(test::contentOf(folder_.path() / name));
  }
  EXPECT_EQ(std::count(contents.begin(), contents.end(), "garbage0"), 2);
  EXPECT_EQ(std::count(contents.begin(), contents.end(), "garbage1"), 2);
  EXPECT_EQ(std::count(contents.begin(), contents.end(), "garbage2"), 2);
}

TEST_F(DamagedFile, FoundByTwoProcessesAtOnceCostsNeitherItsFreshFile) {
  for (int round = 0; round < 20; ++round) {
    std::filesystem::remove_all(file_);
    test::writeContent(file_, std::string(5000, 'g'));
    test::Signal go;
    const auto use = [&](const std::string& key) {
      go.wait();
      const auto defaults = UserDefaults::open(file_);
      defaults->setBool(true, key);
      // On a busy disk the other one may take longer than a call waits.
      while (!defaults->synchronize()) std::this_thread::yield();
      return 0;
    };
    Child first([&] { return use("first"); }), second([&] { return use("second"); });
    go.raise();
    go.raise();
    EXPECT_EQ(first.result(), 0);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(setAside().size(), static_cast<std::size_t>(round + 1));
    EXPECT_EQ(Shell(file_).run("SELECT count(*) FROM preferences"), "2");
  }
}

TEST_F(DamagedFile, AnEmptyOneIsSimplyBegun) {
  test::writeContent(file_, "");
  const auto defaults = open();
  defaults->setBool(true, "a");
  EXPECT_EQ(Shell(file_).run("SELECT count(*) FROM preferences"), "1");
  EXPECT_TRUE(problems_.empty());
}

TEST_F(DamagedFile, ADatabaseOfAnotherProgramIsLeftAlone) {
  Shell(file_).run(
      "CREATE TABLE preferences (key TEXT PRIMARY KEY NOT NULL, value) WITHOUT ROWID;"
      "INSERT INTO preferences VALUES ('precious', 1)");
  expectLeftAlone("another program");
}

TEST_F(DamagedFile, AFileOfALaterVersionIsLeftAlone) {
  makeHealthyFile();
  Shell(file_).run("PRAGMA user_version = 2; PRAGMA wal_checkpoint(TRUNCATE)");
  expectLeftAlone("later version");
}

}  // namespace
}  // namespace corvane::platform
