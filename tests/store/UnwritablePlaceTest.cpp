#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <iterator>
#include <string>

#include "store/StoreSupport.h"

namespace corvane::platform {
namespace {

using test::ChildProcess;

class UnwritablePlace : public test::PreferencesTest {
 protected:
  /// Values are kept, and one problem was reported that contains the text.
  bool keepsValuesInMemory(const std::string& reason) {
    const auto defaults = open();
    defaults->setString("kept", "text");
    defaults->setBool(true, "flag");
    defaults->setData("bytes", "gone");
    defaults->setData(std::nullopt, "gone");
    const bool kept = defaults->stringForKey("text") == "kept" && defaults->boolForKey("flag") &&
                      !defaults->dataForKey("gone") && !defaults->boolForKey("absent") &&
                      !defaults->synchronize();
    const bool reported = problems_.size() == 1 && problems_[0].find(reason) != std::string::npos;
    if (!reported) std::cout << ::testing::PrintToString(problems_) << std::endl;
    return kept && reported;
  }
};

TEST_F(UnwritablePlace, IsNotChangedWhereItIsNoRegularFileAndIsNotWaitedFor) {
  for (const char* suffix : {"", "-wal"}) {
    problems_.clear();
    file_ = folder_.path() / ("fifo" + std::string(suffix));
    ASSERT_EQ(::mkfifo((file_.string() + suffix).c_str(), 0600), 0);
    EXPECT_TRUE(keepsValuesInMemory("not a regular file")) << suffix;
  }
}

TEST_F(UnwritablePlace, ThatIsAReadOnlyFileIsReadAndNotChanged) {
  // What a URI would read as something else.
  file_ = folder_.path() / "a%41?b#.sqlite";
  open()->setString("old", "text");
  open()->setBool(true, "untouched");
  std::filesystem::permissions(file_, std::filesystem::perms(0444));
  const std::string before = test::contentOf(file_);
  ChildProcess child([this] {
    if (!test::becomeNobody()) return 0;
    if (open()->stringForKey("text") != "old") return 1;
    if (!keepsValuesInMemory("cannot be used")) return 2;
    return open()->boolForKey("untouched") ? 0 : 3;
  });
  EXPECT_EQ(child.awaitEnd().status, 0);
  EXPECT_EQ(test::contentOf(file_), before);
  EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(folder_.path())), 1);
}

TEST_F(UnwritablePlace, IsReportedOnceAlsoToAReporterThatComesLate) {
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

}  // namespace
}  // namespace corvane::platform
