#include <corvane/Corvane.h>
#include <corvane/CorvaneCancellationError.h>
#include <corvane/CorvaneMainQueue.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "support/Await.h"
#include "support/BaseURL.h"
#include "support/Gate.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

/// Waits for the task. False when it was cancelled; other failures are thrown.
bool isAttributed(const CorvaneTask<CorvaneAttribution>& task) {
  try {
    return await(task, "an install").attributed();
  } catch (const CorvaneCancellationError&) {
    return false;
  }
}

/// Clients, and a server that attributes every install while its gate is open.
class ClientLifetime : public testing::Test {
 protected:
  ~ClientLifetime() override {
    gate.open();
    Corvane::setShared(nullptr);
    Corvane::setPlatform({});
    CorvaneMainQueue::main()->poll();
  }

  std::shared_ptr<Corvane> configure() {
    setBaseURL(server.url(""));
    Corvane::setPlatform({.preferencesFile = folder.path() / "preferences.sqlite"});
    return Corvane::configure("cv_live_test",
                              {.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  }

  Gate gate;
  TemporaryFolder folder;
  LoopbackServer server{[this](const LoopbackRequest&) {
    gate.pass();
    return LoopbackAnswer::of(200, R"({"id":7,"attributed":true,"deepLink":{"deepLinkPath":"/a"}})");
  }};
};

TEST_F(ClientLifetime, AnInstallInFlightOutlivesItsClientAndReachesItsWaiters) {
  gate.close();
  auto client = configure();
  const auto task = client->trackInstallAsync(false);
  server.awaitRequests(1);
  std::atomic<bool> other = false;
  std::jthread waiter([&] { other = isAttributed(task); });
  Corvane::setShared(nullptr);
  client.reset();
  gate.open();
  EXPECT_TRUE(isAttributed(task));
  waiter.join();
  EXPECT_TRUE(other);
  EXPECT_TRUE(configure()->lastAttribution().has_value()) << "the attribution result was not stored";
}

TEST_F(ClientLifetime, EveryTaskCompletesWheneverItsClientIsDestroyed) {
  for (int round = 0; round < 50; ++round) {
    auto client = configure();
    const auto before = server.requests().size();
    const auto task = client->trackInstallAsync(true);
    client->trackInstall(true);
    std::jthread waiter([task] { isAttributed(task); });
    if (round % 2 == 0) server.awaitRequests(before + 1);
    for (int turn = 0; turn < round * 10; ++turn) std::this_thread::yield();
    Corvane::setShared(nullptr);
    client.reset();
    isAttributed(task);
  }
}

}  // namespace
}  // namespace corvane::test
