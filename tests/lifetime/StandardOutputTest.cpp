#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "lifetime/ChildProcess.h"
#include "lifetime/TemporaryFolder.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using Output = ChildProcess::Output;

class StandardOutputTo : public testing::TestWithParam<Output> {};

INSTANTIATE_TEST_SUITE_P(Places, StandardOutputTo, testing::Values(Output::pipe, Output::file),
                         [](const auto& place) { return place.param == Output::pipe ? "APipe" : "AFile"; });

TEST_P(StandardOutputTo, NeverMixesTheLinesOfSeveralThreads) {
  constexpr int threads = 3, count = 400;
  ChildProcess host(LIFETIME_HOST,
                    {"writeFromSeveralThreads", "-", "-", std::to_string(threads), std::to_string(count)},
                    GetParam());
  const ChildEnd end = host.wait(std::chrono::seconds(60));
  ASSERT_EQ(end.status, 0) << end.errors;
  std::map<std::string, int> next;  // by writer
  for (const std::string& line : end.lines()) {
    const std::string prefix = "[Corvane] [INFO] ";
    std::istringstream words(line.starts_with(prefix) ? line.substr(prefix.size()) : line);
    std::string who, rest;
    int thread = -1, number = -1;
    words >> who >> thread >> number >> rest;
    ASSERT_EQ(who, line.starts_with(prefix) ? "library" : "host") << line.substr(0, 100);
    ASSERT_EQ(number, next[who + std::to_string(thread)]++) << line.substr(0, 100);
    ASSERT_EQ(rest, std::string(static_cast<std::size_t>(number * 37 % 9000), 'x') + ".");
  }
  EXPECT_EQ(next.size(), 2U * threads);
  for (const auto& [writer, lines] : next) EXPECT_EQ(lines, count) << writer;
}

TEST_P(StandardOutputTo, KeepsTheOrderWithWhatTheHostPrints) {
  ChildProcess host(LIFETIME_HOST, {"alternateWithTheHost", "-", "-", "500"}, GetParam());
  const ChildEnd end = host.wait();
  std::vector<std::string> expected;
  for (int i = 0; i < 500; ++i) {
    expected.push_back("host " + std::to_string(i));
    expected.push_back("[Corvane] [INFO] library " + std::to_string(i));
  }
  EXPECT_EQ(end.lines(), expected);
}

class StandardOutputThatIs : public testing::TestWithParam<Output> {};

INSTANTIATE_TEST_SUITE_P(Ways, StandardOutputThatIs, testing::Values(Output::brokenPipe, Output::closed),
                         [](const auto& place) {
                           return place.param == Output::brokenPipe ? "APipeWithoutReader" : "Closed";
                         });

TEST_P(StandardOutputThatIs, NeitherEndsTheHostNorHindersAnInstall) {
  LoopbackServer server(
      [](const LoopbackRequest&) { return LoopbackAnswer::of(200, R"({"attributed":true})"); });
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"writeToClosedOutput", server.url(""), folder.path()}, GetParam());
  const ChildEnd end = host.wait();
  EXPECT_EQ(end.status, 7);
  EXPECT_EQ(end.errors, "");
}

TEST(StandardOutput, WithoutReaderLeavesTheSignalsOfTheHostAlone) {
  ChildProcess host(LIFETIME_HOST, {"keepPendingSignals", "-", "-"}, Output::brokenPipe);
  const ChildEnd end = host.wait();
  EXPECT_EQ(end.status, 7);
  EXPECT_EQ(end.errors, "");
}

TEST(StandardOutput, ShowsWhatAServerSaidOnOneLine) {
  const std::string said = "no\n[Corvane] [INFO] Install attributed\r\x1b[2K\x7f";
  LoopbackServer server([&](const LoopbackRequest&) { return LoopbackAnswer::of(400, said); });
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"failAnInstall", server.url(""), folder.path()});
  const auto lines = host.wait().lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(),
            "[Corvane] [ERROR] Install tracking failed: Server returned status 400: "
            R"(no\n[Corvane] [INFO] Install attributed\r\x1B[2K\x7F)");
  EXPECT_EQ(std::ranges::count(lines, "[Corvane] [INFO] Install attributed"), 0);
}

}  // namespace
}  // namespace corvane::test
