#include <gtest/gtest.h>

#include <cstdio>

#include "lifetime/HostProgram.h"
#include "support/Build.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

void expectSuccess(const std::string& scenario, const std::string& connection = "keep-alive") {
  LoopbackServer server(
      LoopbackResponse::of(200, R"({"id":1,"attributed":false})", {{"Connection", connection}}));
  const TemporaryFolder folder;
  const ChildEnd end = runHost(scenario, server.url(""), folder.path(), {}, std::chrono::seconds(100));
  std::printf("%s", end.output.c_str());
  expectCleanEnd(end, 0);
}

TEST(Footprint, AThousandClientsLeakNeitherMemoryNorDescriptors) {
  // Kept connections count as descriptors, and their number depends on timing.
  expectSuccess("configureAThousandTimes", "close");
}

TEST(Footprint, NoThreadWakesUpWhileThereIsNothingToDo) {
  if (underSanitizer) GTEST_SKIP() << "the sanitizer's own threads wake up";
  expectSuccess("idle");
}

TEST(Footprint, ChangesNoSignalOfTheHostAndBlocksAllInItsThreads) {
  expectSuccess("leaveSignalsAlone");
}

}  // namespace
}  // namespace corvane::test
