#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "lifetime/HostProgram.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

TEST(StandardOutput, KeepsLinesWholeAndInOrderWithTheHostsOwn) {
  constexpr int threads = 4, count = 400;
  for (const std::string place : {"pipe", "file"}) {
    const TemporaryFolder folder;
    ChildEnd end = runHost("writeFromSeveralThreads", "-", folder.path(),
                           {place, std::to_string(threads), std::to_string(count)}, std::chrono::seconds(60));
    expectCleanEnd(end, 0);
    if (place == "file") {
      end.output = (std::ostringstream() << std::ifstream(folder.path() / "output").rdbuf()).str();
    }
    std::map<int, int> next;  // by thread
    for (const std::string& line : end.lines()) {
      const std::string prefix = "[Corvane] [INFO] ";
      const bool isLibrary = line.starts_with(prefix);
      std::istringstream words(isLibrary ? line.substr(prefix.size()) : line);
      std::string who, rest;
      int thread = -1, number = -1;
      words >> who >> thread >> number >> rest;
      ASSERT_EQ(number, next[thread]++) << line.substr(0, 100);
      ASSERT_EQ(who, number % 2 == 0 ? "library" : "host") << line.substr(0, 100);
      ASSERT_EQ(isLibrary, number % 2 == 0);
      ASSERT_EQ(rest, std::string(static_cast<std::size_t>(number * 37 % 9000), 'x') + ".");
    }
    EXPECT_EQ(next.size(), std::size_t(threads));
    for (const auto& [thread, lines] : next) EXPECT_EQ(lines, count) << thread;
  }
}

TEST(StandardOutput, MayBeClosedOrABrokenPipe) {
  LoopbackServer server(
      [](const LoopbackRequest&) { return LoopbackAnswer::of(200, R"({"attributed":true})"); });
  for (const char* place : {"broken pipe", "nowhere"}) {
    const TemporaryFolder folder;
    SCOPED_TRACE(place);
    expectCleanEnd(runHost("writeToClosedOutput", server.url(""), folder.path(), {place}), 7);
  }
}

}  // namespace
}  // namespace corvane::test
