#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "lifetime/HostProgram.h"
#include "support/Build.h"
#include "support/Draw.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

/// How many programs a test starts. CORVANE_TEST_RUNS overrides it.
int runs(int inFull) {
  if (const char* const given = std::getenv("CORVANE_TEST_RUNS")) return std::stoi(given);
  return repeatsInFull ? inFull : 10;
}

using RunProgram = std::function<ChildEnd(int run, const std::string& folder, const std::string& moment)>;

/// Runs programs that have installs in flight and exit 0 to 30 ms later.
void expectCleanEnds(int count, int status, const RunProgram& runOnce) {
  Draw draw("ProcessExit");
  std::vector<Milliseconds> durations;
  repeat(runs(count), [&](int run) {
    const TemporaryFolder folder;
    const std::string moment = std::to_string(draw.below(30'000));
    SCOPED_TRACE("run " + std::to_string(run) + " after " + moment + " µs");
    const ChildEnd end = runOnce(run, folder.path(), moment);
    expectCleanEnd(end, status);
    durations.push_back(exitDuration(end));
  });
  printDurations(std::move(durations));
}

struct Surroundings {
  const char* name;
  bool tls = false;
  const char* also = "nothing";
  int runs = 33;
  LoopbackResponse response = LoopbackResponse::silence();
  const char* scheme = "";  // when it is not the server's own
};

/// How the program leaves, and with which status.
struct Ending {
  const char* name;
  const char* how;
  int status;
};

/// g++ 12's AddressSanitizer forks while other threads hold its own locks, and about one child in ten waits
/// without end for the lock of its store of stacks. Without stacks it does not take that lock.
void forkWithoutAddressSanitizersStacks() {
  if (!underAddressSanitizer) return;
  const char* const given = std::getenv("ASAN_OPTIONS");
  setenv("ASAN_OPTIONS", (std::string(given ? given : "") + ":malloc_context_size=0").c_str(), 1);
}

class ProcessExit : public testing::TestWithParam<std::tuple<Surroundings, Ending>> {};

TEST_P(ProcessExit, IsCleanWithInstallsInFlight) {
  const auto& [around, ending] = GetParam();
  if (around.also == std::string("fork")) forkWithoutAddressSanitizersStacks();
  const TLSIdentity identity;
  LoopbackServer server(around.response, around.tls ? &identity : nullptr);
  const std::string url = *around.scheme ? around.scheme + std::to_string(server.port()) : server.url("");
  const std::string status = std::to_string(ending.status);
  const std::string trustedURL = around.tls ? server.url() : " ";
  expectCleanEnds(around.runs, ending.status, [&](int, const std::string& folder, const std::string& moment) {
    return runHost("endWithInstallsInFlight", url, folder,
                   {status, ending.how, moment, trustedURL, identity.certificateFile(), around.also});
  });
}

INSTANTIATE_TEST_SUITE_P(
    , ProcessExit,
    testing::Combine(
        testing::Values(Surroundings{.name = "WhileAServerIsSilent", .runs = 100},
                        Surroundings{.name = "WhileATLSServerIsSilent", .tls = true, .runs = 100},
                        // A server of plain HTTP waits for the end of what it takes for a request.
                        Surroundings{.name = "InTheMiddleOfATLSHandshake", .scheme = "https://127.0.0.1:"},
                        Surroundings{.name = "BetweenTwoAttempts", .response = LoopbackResponse::of(503)},
                        Surroundings{.name = "WhenTheHostUsesLibcurlToo", .tls = true, .also = "libcurl"},
                        Surroundings{.name = "AlsoInAForkedChild", .tls = true, .also = "fork"}),
        testing::Values(Ending{"ByReturn", "return", 1}, Ending{"ByExit", "exit", 2},
                        Ending{"ByExitOnAThread", "exit on a thread", 100})),
    [](const auto& test) {
      return std::string(std::get<0>(test.param).name) + std::get<1>(test.param).name;
    });

TEST(ProcessExitWithPlugin, IsCleanWhenTheLibraryWasLoadedAndUnloadedAtRunTime) {
  LoopbackServer plain(LoopbackResponse::silence());
  const std::array urls{plain.url(""), "https://127.0.0.1:" + std::to_string(plain.port())};
  expectCleanEnds(100, 7, [&](int run, const std::string& folder, const std::string& moment) {
    return runProgram(LIFETIME_PLUGIN_HOST,
                      {LIFETIME_PLUGIN, urls[run % 4 < 2 ? 0 : 1], folder + "/preferences.sqlite", "7",
                       run % 2 == 0 ? "return" : "exit", moment});
  });
}

TEST(ProcessExitWithStaticObjects, CancelsWhatTheirDestructorsBegin) {
  LoopbackServer server(LoopbackResponse::silence());
  const TemporaryFolder folder;
  const ChildEnd end = runHost("useTheLibraryFromStaticDestructors", server.url(""), folder.path());
  expectCleanEnd(end, 7);
  EXPECT_TRUE(end.output.ends_with("cancelled\n")) << end.output;
}

}  // namespace
}  // namespace corvane::test
