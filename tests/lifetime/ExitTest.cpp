#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "process/ChildProcess.h"
#include "support/Build.h"
#include "support/Draw.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// How many programs a test starts; CORVANE_TEST_RUNS overrides it.
int runs(int inFull) {
  if (const char* const given = std::getenv("CORVANE_TEST_RUNS")) return std::stoi(given);
  return repeatsInFull ? inFull : 20;
}

LoopbackAnswer neverAnswer(const LoopbackRequest&) {
  return LoopbackAnswer::silence();
}

/// From the line in which the program says that it leaves to its end.
Milliseconds exitDuration(const ChildEnd& end) {
  const auto lines = end.lines();
  const auto leaving =
      std::ranges::find_if(lines, [](const auto& line) { return line.starts_with("leaving "); });
  if (leaving == lines.end()) return Milliseconds(0);
  const std::chrono::nanoseconds left(std::stoll(leaving->substr(8)));
  return end.moment.time_since_epoch() - left;
}

/// A clean end: the program's own status, at once, and no complaint of a sanitizer or the C library.
void expectCleanEnd(const ChildEnd& end, int status) {
  EXPECT_FALSE(end.timedOut) << "it did not end by itself";
  EXPECT_EQ(end.status, status);
  EXPECT_EQ(end.errors, "");
  if (testing::Test::HasFailure()) std::printf("its output:\n%s\n", end.output.c_str());
}

using RunHost = std::function<ChildEnd(int run, const std::string& folder, const std::string& moment)>;

/// Runs programs that have installs in flight, and end by themselves between 0 and 30 ms later.
void expectCleanEnds(int count, const RunHost& runHost, const std::function<int(int run)>& status) {
  Draw draw("Exit");
  std::vector<Milliseconds> durations;
  for (int run = 0; run < runs(count) && !testing::Test::HasFailure(); ++run) {
    const TemporaryFolder folder;
    const std::string moment = std::to_string(draw.below(30'000));
    SCOPED_TRACE("run " + std::to_string(run) + " after " + moment + " µs");
    const ChildEnd end = runHost(run, folder.path(), moment);
    expectCleanEnd(end, status(run));
    durations.push_back(exitDuration(end));
  }
  std::ranges::sort(durations);
  std::printf("%zu ends: %.1f ms median, %.1f ms at most\n", durations.size(),
              durations[durations.size() / 2].count(), durations.back().count());
}

struct Surroundings {
  const char* name;
  bool tls = false;
  const char* also = "nothing";
  int runs = 100;
  LoopbackServer::Handler handler = neverAnswer;
  const char* scheme = "";  // where it is not the server's own
};

/// g++ 12's AddressSanitizer forks with its own locks held by other threads, and the child waits for them for
/// ever: about once in ten forks for the lock of the store of stacks. Without stacks that is not taken.
void forkWithoutWaitingForAddressSanitizer() {
  if (!underAddressSanitizer) return;
  const char* const given = std::getenv("ASAN_OPTIONS");
  setenv("ASAN_OPTIONS", (std::string(given ? given : "") + ":malloc_context_size=0").c_str(), 1);
}

class Exit : public testing::TestWithParam<Surroundings> {};

TEST_P(Exit, IsCleanWithInstallsInFlight) {
  static constexpr std::array endings{"return", "exit", "exit on a thread"};
  const Surroundings& around = GetParam();
  if (around.also == std::string("fork")) forkWithoutWaitingForAddressSanitizer();
  const TLSIdentity identity;
  LoopbackServer server(around.handler, around.tls ? &identity : nullptr);
  const std::string url = *around.scheme ? around.scheme + std::to_string(server.port()) : server.url("");
  const auto status = [](int run) { return 1 + run % 100; };
  expectCleanEnds(
      around.runs,
      [&](int run, const std::string& folder, const std::string& moment) {
        return runProgram(LIFETIME_HOST,
                          {"endWithInstallsInFlight", url, folder, std::to_string(status(run)),
                           endings[static_cast<std::size_t>(run) % endings.size()], moment,
                           around.tls ? server.url() : " ", identity.certificateFile(), around.also});
      },
      status);
}

INSTANTIATE_TEST_SUITE_P(
    , Exit,
    testing::Values(Surroundings{.name = "WhileAServerDoesNotAnswer", .runs = 300},
                    Surroundings{.name = "WhileATLSServerDoesNotAnswer", .tls = true, .runs = 300},
                    // A server of plain HTTP waits for the end of what it takes for a request.
                    Surroundings{.name = "InTheMiddleOfATLSHandshake", .scheme = "https://127.0.0.1:"},
                    Surroundings{.name = "BetweenTwoTries",
                                 .handler = [](const auto&) { return LoopbackAnswer::of(503); }},
                    Surroundings{.name = "WhereTheHostUsesLibcurlToo", .tls = true, .also = "libcurl"},
                    Surroundings{.name = "InTheHostAndInAChildThatItForked", .tls = true, .also = "fork"}),
    [](const auto& around) { return around.param.name; });

TEST(ExitOfAProgram, IsCleanWhereTheLibraryWasLoadedAndUnloadedAtRunTime) {
  LoopbackServer plain(neverAnswer);
  const std::array urls{plain.url(""), "https://127.0.0.1:" + std::to_string(plain.port())};
  expectCleanEnds(
      100,
      [&](int run, const std::string& folder, const std::string& moment) {
        return runProgram(LIFETIME_PLUGIN_HOST,
                          {LIFETIME_PLUGIN, urls[run % 4 < 2 ? 0 : 1], folder + "/preferences.sqlite", "7",
                           run % 2 == 0 ? "return" : "exit", moment});
      },
      [](int) { return 7; });
}

TEST(ExitOfAProgram, CancelsWhatStaticObjectsBeginAfterIt) {
  LoopbackServer server(neverAnswer);
  const TemporaryFolder folder;
  const ChildEnd end =
      runProgram(LIFETIME_HOST, {"useTheLibraryFromStaticDestructors", server.url(""), folder.path()});
  expectCleanEnd(end, 7);
  EXPECT_TRUE(end.output.ends_with("cancelled\n")) << end.output;
}

}  // namespace
}  // namespace corvane::test
