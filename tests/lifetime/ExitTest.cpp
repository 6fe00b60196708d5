#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "lifetime/ChildProcess.h"
#include "lifetime/TemporaryFolder.h"
#include "support/Build.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// How many programs a test starts; CORVANE_TEST_RUNS overrides it.
int runs(int inFull) {
  if (const char* const given = std::getenv("CORVANE_TEST_RUNS")) return std::stoi(given);
  return repeatsInFull ? inFull : 20;
}

/// Printed, so that a run that failed can be drawn again with CORVANE_TEST_SEED.
std::mt19937 seededGenerator() {
  const char* const given = std::getenv("CORVANE_TEST_SEED");
  const auto seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
  std::printf("CORVANE_TEST_SEED=%u\n", seed);
  return std::mt19937(seed);
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
  EXPECT_FALSE(end.killedByWatchdog) << "it did not end by itself";
  EXPECT_EQ(end.status, status);
  EXPECT_EQ(end.errors, "");
  if (testing::Test::HasFailure()) std::printf("its output:\n%s\n", end.output.c_str());
}

void report(std::vector<Milliseconds> durations) {
  std::ranges::sort(durations);
  std::printf("%zu ends: %.1f ms median, %.1f ms at most\n", durations.size(),
              durations[durations.size() / 2].count(), durations.back().count());
}

/// What varies from test to test: the servers, and what else the host does.
struct Surroundings {
  std::string baseURL;
  std::string trustedURL = " ";
  std::string authorityFile = " ";
  std::string also = "nothing";
  int runs = 100;
};

/// Starts programs that have installs in flight, and end by themselves between 0 and 30 ms later.
void expectCleanEnds(const Surroundings& around) {
  static constexpr std::array endings{"return", "exit", "exit on a thread"};
  auto generator = seededGenerator();
  std::vector<Milliseconds> durations;
  for (int run = 0; run < runs(around.runs) && !testing::Test::HasFailure(); ++run) {
    const TemporaryFolder folder;
    const std::string ending = endings[static_cast<std::size_t>(run) % endings.size()];
    const int status = 1 + run % 100;
    const std::string moment = std::to_string(std::uniform_int_distribution(0, 30'000)(generator));
    ChildProcess host(LIFETIME_HOST,
                      {"endWithInstallsInFlight", around.baseURL, folder.path(), std::to_string(status),
                       ending, moment, around.trustedURL, around.authorityFile, around.also});
    SCOPED_TRACE("run " + std::to_string(run) + ": " + ending + " after " + moment + " µs");
    const ChildEnd end = host.wait();
    expectCleanEnd(end, status);
    durations.push_back(exitDuration(end));
  }
  report(std::move(durations));
}

TEST(Exit, IsCleanWhileAServerDoesNotAnswer) {
  LoopbackServer server(neverAnswer);
  expectCleanEnds({.baseURL = server.url(""), .runs = 300});
}

TEST(Exit, IsCleanWhileATLSServerDoesNotAnswer) {
  const TLSIdentity identity;
  LoopbackServer server(neverAnswer, &identity);
  expectCleanEnds({.baseURL = server.url(""),
                   .trustedURL = server.url(),
                   .authorityFile = identity.certificateFile(),
                   .runs = 300});
}

TEST(Exit, IsCleanInTheMiddleOfATLSHandshake) {
  // A server of plain HTTP waits for the end of what it takes for a request.
  LoopbackServer server(neverAnswer);
  expectCleanEnds({.baseURL = "https://127.0.0.1:" + std::to_string(server.port())});
}

TEST(Exit, IsCleanBetweenTwoTries) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(503); });
  expectCleanEnds({.baseURL = server.url("")});
}

TEST(Exit, IsCleanWhereTheHostUsesLibcurlToo) {
  const TLSIdentity identity;
  LoopbackServer server(neverAnswer, &identity);
  expectCleanEnds({.baseURL = server.url(""),
                   .trustedURL = server.url(),
                   .authorityFile = identity.certificateFile(),
                   .also = "libcurl"});
}

TEST(Exit, IsCleanInTheHostAndInAChildThatItForked) {
  const TLSIdentity identity;
  LoopbackServer server(neverAnswer, &identity);
  expectCleanEnds({.baseURL = server.url(""),
                   .trustedURL = server.url(),
                   .authorityFile = identity.certificateFile(),
                   .also = "fork"});
}

TEST(Exit, IsCleanWhereTheLibraryWasLoadedAndUnloadedAtRunTime) {
  LoopbackServer plain(neverAnswer);
  const std::string plainURL = plain.url("");
  const std::string secureURL = "https://127.0.0.1:" + std::to_string(plain.port());
  auto generator = seededGenerator();
  std::vector<Milliseconds> durations;
  for (int run = 0; run < runs(100) && !HasFailure(); ++run) {
    const TemporaryFolder folder;
    const std::string moment = std::to_string(std::uniform_int_distribution(0, 30'000)(generator));
    ChildProcess host(LIFETIME_PLUGIN_HOST,
                      {LIFETIME_PLUGIN, run % 4 < 2 ? plainURL : secureURL,
                       folder.path() / "preferences.sqlite", "7", run % 2 == 0 ? "return" : "exit", moment});
    SCOPED_TRACE("run " + std::to_string(run) + " after " + moment + " µs");
    const ChildEnd end = host.wait();
    expectCleanEnd(end, 7);
    durations.push_back(exitDuration(end));
  }
  report(std::move(durations));
}

TEST(Exit, FailsWhatIsInFlightAndSaysSo) {
  LoopbackServer server(neverAnswer);
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"endWithInstallsInFlight", server.url(""), folder.path(), "7", "return",
                                    "input", " ", " "});
  server.awaitRequests(3);
  host.closeInput();
  const ChildEnd end = host.wait();
  expectCleanEnd(end, 7);
  EXPECT_EQ(std::ranges::count(end.lines(),
                               "[Corvane] [ERROR] Install tracking failed: "
                               "Network error: the process is exiting"),
            3)
      << end.output;
}

TEST(Exit, CancelsWhatStaticObjectsBeginAfterIt) {
  LoopbackServer server(neverAnswer);
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"useTheLibraryFromStaticDestructors", server.url(""), folder.path()});
  const ChildEnd end = host.wait();
  expectCleanEnd(end, 7);
  EXPECT_TRUE(end.output.ends_with("cancelled\n")) << end.output;
}

TEST(Exit, IsCleanWhereAStaticObjectConfiguresForTheFirstTime) {
  LoopbackServer server(neverAnswer);
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST,
                    {"configureForTheFirstTimeInAStaticDestructor", server.url(""), folder.path()});
  expectCleanEnd(host.wait(), 7);
}

}  // namespace
}  // namespace corvane::test
