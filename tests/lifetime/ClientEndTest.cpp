#include <atomic>
#include <future>
#include <optional>
#include <thread>

#include "lifetime/ClientFixture.h"
#include "platform/ProcessRuntime.h"

namespace corvane::test {
namespace {

using ClientEnd = ClientFixture;

/// How a wait ends: with an answer, or the cancellation; anything else is let out.
bool isAnswered(const CorvaneTask<CorvaneAttribution>& task) {
  try {
    return task.get().attributed();
  } catch (const CorvaneCancellationError&) {
    return false;
  }
}

/// Holds the background thread while it lives.
class HeldBackground {
 public:
  HeldBackground() {
    std::promise<void> reached;
    platform::processBackground()->post([&reached, until = release_.get_future().share()] {
      reached.set_value();
      until.wait();
    });
    reached.get_future().wait();
  }
  ~HeldBackground() { release_.set_value(); }

 private:
  std::promise<void> release_;
};

TEST_F(ClientEnd, BeforeItsWorkBeginsCancelsTheWork) {
  auto client = configure();
  std::optional<CorvaneTask<CorvaneAttribution>> task;
  {
    const HeldBackground held;
    task = client->trackInstallAsync(false);
    client->trackInstall(false);
    Corvane::setShared(nullptr);
    client.reset();
  }
  EXPECT_FALSE(isAnswered(*task));
  EXPECT_TRUE(server.requests().empty());
}

TEST_F(ClientEnd, WhileItsRequestIsOutLetsTheAnswerReachItsWaiters) {
  gate.close();
  auto client = configure();
  const auto task = client->trackInstallAsync(false);
  server.awaitRequests(1);
  std::atomic<bool> other = false;
  std::jthread waiter([&] { other = isAnswered(task); });
  Corvane::setShared(nullptr);
  client.reset();
  gate.open();
  EXPECT_TRUE(isAnswered(task));
  waiter.join();
  EXPECT_TRUE(other);
  EXPECT_TRUE(configure()->lastAttribution().has_value()) << "the answer was not stored";
}

TEST_F(ClientEnd, AtAnyMomentLeavesNobodyWaiting) {
  for (int round = 0; round < 50; ++round) {
    auto client = configure();
    const auto before = server.requests().size();
    const auto task = client->trackInstallAsync(true);
    client->trackInstall(true);
    std::jthread waiter([task] { isAnswered(task); });
    if (round % 2 == 0) server.awaitRequests(before + 1);
    for (int turn = 0; turn < round * 10; ++turn) std::this_thread::yield();
    Corvane::setShared(nullptr);
    client.reset();
    isAnswered(task);
  }
}

/// A callback whose copies and ends call the library.
class Reentrant {
 public:
  Reentrant(std::weak_ptr<Corvane> client, int& calls) : client_(std::move(client)), calls_(calls) {}
  Reentrant(const Reentrant& other) : client_(other.client_), calls_(other.calls_) { callLibrary(); }
  ~Reentrant() { callLibrary(); }
  Reentrant& operator=(const Reentrant&) = delete;

  void operator()(const auto&...) const {}

 private:
  void callLibrary() const {
    const auto client = client_.lock();
    if (!client) return;
    ++calls_;
    client->lastAttribution();
    client->lastDeepLink();
    client->onAttribution({});
    client->onLink({});
    client->onError({});
    Corvane::setShared(Corvane::shared());
  }

  std::weak_ptr<Corvane> client_;
  int& calls_;
};

TEST_F(ClientEnd, AndItsCallbacksEndsMayCallTheLibrary) {
  int calls = 0;
  auto client = configure();
  const auto registerAll = [&] {
    client->onAttribution(Reentrant(client, calls));
    client->onLink(Reentrant(client, calls));
    client->onError(Reentrant(client, calls));
  };
  registerAll();
  registerAll();
  EXPECT_TRUE(client->trackInstallAsync(false).get().attributed());
  client->onAttribution(Reentrant(client, calls));
  client->trackInstallAsync(false).whenDone(Reentrant(client, calls));
  EXPECT_TRUE(client->trackInstallAsync(true).get().attributed());
  registerAll();
  EXPECT_GT(calls, 0);
  Corvane::setShared(nullptr);
  client.reset();
}

}  // namespace
}  // namespace corvane::test
