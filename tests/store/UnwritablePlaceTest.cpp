#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>
#include <vector>

#include "platform/preferences/UserDefaults.h"
#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::ChildProcess;
using test::Shell;
using Clock = std::chrono::steady_clock;

class UnwritablePlace : public ::testing::Test {
 protected:
  std::shared_ptr<UserDefaults> open(const std::filesystem::path& file) {
    auto defaults = UserDefaults::open(file);
    defaults->reportProblemsTo([this](const std::string& text) { problems_.push_back(text); });
    return defaults;
  }

  /// Values are kept, and one problem was told that holds the text.
  bool livesInMemory(const std::filesystem::path& file, const std::string& reason) {
    const auto defaults = open(file);
    defaults->setString("kept", "text");
    defaults->setBool(true, "flag");
    defaults->setData("bytes", "gone");
    defaults->setData(std::nullopt, "gone");
    const bool kept = defaults->stringForKey("text") == "kept" && defaults->boolForKey("flag") &&
                      !defaults->dataForKey("gone") && !defaults->boolForKey("absent") &&
                      !defaults->synchronize();
    const bool told = problems_.size() == 1 && problems_[0].find(reason) != std::string::npos;
    if (!told) std::cerr << ::testing::PrintToString(problems_) << std::endl;
    return kept && told;
  }

  test::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "preferences.sqlite";
  std::vector<std::string> problems_;
};

TEST_F(UnwritablePlace, WhatIsNoRegularFileIsLeftAloneAndNeverWaitedFor) {
  for (const char* suffix : {"", "-wal"}) {
    problems_.clear();
    const std::string file = folder_.path() / ("fifo" + std::string(suffix));
    ASSERT_EQ(::mkfifo((file + suffix).c_str(), 0600), 0);
    EXPECT_TRUE(livesInMemory(file, "not a regular file")) << suffix;
  }
}

TEST_F(UnwritablePlace, AFolderThatMayNotBeWrittenKeepsTheHostRunning) {
  ChildProcess child([this] {
    if (!test::becomeNobody()) return 0;
    return livesInMemory(file_, "file cannot be made") ? 0 : 1;
  });
  EXPECT_EQ(child.awaitEnd().status, 0);
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(UnwritablePlace, AReadOnlyFileIsStillReadAndItsNewValuesStayInMemory) {
  UserDefaults::open(file_)->setString("old", "text");
  UserDefaults::open(file_)->setBool(true, "untouched");
  std::filesystem::permissions(file_, std::filesystem::perms(0444));
  const std::string before = test::contentOf(file_);
  ChildProcess child([this] {
    if (!test::becomeNobody()) return 0;
    if (open(file_)->stringForKey("text") != "old") return 1;
    if (!livesInMemory(file_, "cannot be used")) return 2;
    return UserDefaults::open(file_)->boolForKey("untouched") ? 0 : 3;
  });
  EXPECT_EQ(child.awaitEnd().status, 0);
  EXPECT_EQ(test::contentOf(file_), before);
  EXPECT_EQ(test::namesWith("preferences", folder_.path()).size(), 1u);
}

TEST_F(UnwritablePlace, AProblemIsToldOnceEvenIfTheReporterComesLate) {
  const auto defaults = UserDefaults::open("");
  defaults->setBool(true, "a");
  for (int reporter = 0; reporter < 2; ++reporter) {
    defaults->reportProblemsTo([&](const std::string& text) {
      problems_.push_back(text);
      EXPECT_TRUE(defaults->boolForKey("a")) << "a reporter may use the store";
      throw std::runtime_error("what it throws is dropped");
    });
  }
  EXPECT_EQ(problems_.size(), 1u);
}

class ForeignHolder : public UnwritablePlace {
 protected:
  std::chrono::milliseconds timeOf(const std::function<void()>& work) {
    const auto begin = Clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  }
};

TEST_F(ForeignHolder, IsWaitedForOnceAndThenOnlyTried) {
  const auto defaults = open(file_);
  defaults->setString("before", "text");
  Shell shell(file_);
  ASSERT_EQ(shell.run("BEGIN EXCLUSIVE; INSERT INTO preferences VALUES ('foreign', 1)"), "");
  const auto first = timeOf([&] { defaults->setString("during", "text"); });
  const auto others = timeOf([&] {
    for (int round = 0; round < 20; ++round) defaults->setBool(true, "key" + std::to_string(round));
  });
  EXPECT_GE(first.count(), 190);
  EXPECT_LT(first.count(), 1000) << "200 ms of waiting, and a loaded machine";
  EXPECT_LT(others.count(), 2000) << "20 waits would be 4 s";
  EXPECT_EQ(defaults->stringForKey("text"), "during");
  EXPECT_EQ(problems_.size(), 1u);
  ASSERT_EQ(shell.run("COMMIT"), "");
  defaults->setBool(true, "after");
  EXPECT_EQ(shell.run("SELECT value FROM preferences WHERE key = 'text'"), "during");
  EXPECT_EQ(shell.run("SELECT count(*) FROM preferences"), "23");
}

TEST_F(ForeignHolder, OfAnotherProcessBlocksNoReadAndOnlyForABoundedTimeAWrite) {
  const auto defaults = open(file_);
  defaults->setString("before", "text");
  ChildProcess child([&] {
    Shell shell(file_);
    shell.run("BEGIN IMMEDIATE; UPDATE preferences SET value = 'foreign'");
    std::cout << "held" << std::endl;
    std::string release;
    std::getline(std::cin, release);
    return shell.run("COMMIT").empty() ? 0 : 1;
  });
  ASSERT_EQ(child.readLine(), "held");
  EXPECT_EQ(defaults->stringForKey("text"), "before");
  std::vector<std::thread> threads;
  const auto all = timeOf([&] {
    for (int number = 0; number < 8; ++number) {
      threads.emplace_back([&, number] { defaults->setBool(true, "key" + std::to_string(number)); });
    }
    for (std::thread& thread : threads) thread.join();
  });
  EXPECT_LT(all.count(), 1000) << "callers that queue up do not add their waits";
  child.writeLine("release");
  EXPECT_EQ(child.awaitEnd().status, 0);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(Shell(file_).run("SELECT count(*) FROM preferences"), "9");
}

}  // namespace
}  // namespace corvane::platform
