#include <gtest/gtest.h>

#include <cstdio>

#include "process/ChildProcess.h"
#include "support/Build.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

void expectSuccess(const std::string& scenario, const std::string& connection = "keep-alive") {
  LoopbackServer server([&](const LoopbackRequest&) {
    return LoopbackAnswer::of(200, R"({"id":1,"attributed":false})", {{"Connection", connection}});
  });
  const TemporaryFolder folder;
  const ChildEnd end =
      runProgram(LIFETIME_HOST, {scenario, server.url(""), folder.path()}, std::chrono::seconds(90));
  std::printf("%s", end.output.c_str());
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.errors, "");
}

TEST(Footprint, AThousandClientsLeaveNeitherMemoryNorDescriptors) {
  // How many connections are kept is drawn by their timing, and would count as descriptors.
  expectSuccess("configureAThousandTimes", "close");
}

TEST(Footprint, NoThreadOfTheLibraryWakesWhileThereIsNothingToDo) {
  if (underSanitizer) GTEST_SKIP() << "a sanitizer's own threads wake, and the plain build shows it as well";
  expectSuccess("idle");
}

TEST(Footprint, TheHostsSignalsAreLeftAlone) {
  expectSuccess("leaveSignalsAlone");
}

}  // namespace
}  // namespace corvane::test
