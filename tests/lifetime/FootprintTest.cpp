#include <gtest/gtest.h>

#include <cstdio>

#include "lifetime/ChildProcess.h"
#include "lifetime/Gate.h"
#include "lifetime/TemporaryFolder.h"
#include "support/Build.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

constexpr const char* organic = R"({"id":1,"attributed":false})";

TEST(Footprint, AThousandClientsLeaveNeitherMemoryNorDescriptors) {
  Gate gate;
  LoopbackServer server([&](const LoopbackRequest& request) {
    if (request.target == "/hold" || request.target == "/release") {
      request.target == "/hold" ? gate.close() : gate.open();
      return LoopbackAnswer::of(200);
    }
    gate.pass();
    return LoopbackAnswer::of(500);
  });
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"configureAThousandTimes", server.url(""), folder.path()});
  const ChildEnd end = host.wait(std::chrono::seconds(90));
  gate.open();
  std::printf("%s", end.output.c_str());
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.errors, "");
}

TEST(Footprint, NoThreadOfTheLibraryWakesWhileThereIsNothingToDo) {
  if (underSanitizer) GTEST_SKIP() << "a sanitizer's own threads wake, and the plain build shows it as well";
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200, organic); });
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"idle", server.url(""), folder.path()});
  const ChildEnd end = host.wait(std::chrono::seconds(30));
  EXPECT_EQ(end.status, 0) << end.output << end.errors;
}

TEST(Footprint, TheHostsSignalsAreLeftAlone) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200, organic); });
  const TemporaryFolder folder;
  ChildProcess host(LIFETIME_HOST, {"leaveSignalsAlone", server.url(""), folder.path()});
  const ChildEnd end = host.wait();
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.errors, "");
}

}  // namespace
}  // namespace corvane::test
