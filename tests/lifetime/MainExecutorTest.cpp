#include <condition_variable>
#include <mutex>
#include <vector>

#include "lifetime/ClientFixture.h"

namespace corvane::test {
namespace {

class DroppingExecutor final : public CorvaneExecutor {
 public:
  void post(std::function<void()>) override {}
  bool isCurrentThread() const override { return false; }
};

/// Keeps what it is given, and runs none of it.
class HoardingExecutor final : public CorvaneExecutor {
 public:
  void post(std::function<void()> function) override {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(function));
    posted_.notify_all();
  }
  bool isCurrentThread() const override { return false; }

  void awaitPost() {
    std::unique_lock lock(mutex_);
    posted_.wait(lock, [this] { return !waiting_.empty(); });
  }

  void drop() {
    std::vector<std::function<void()>> dropped;
    const std::lock_guard lock(mutex_);
    dropped.swap(waiting_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable posted_;
  std::vector<std::function<void()>> waiting_;
};

using MainExecutor = ClientFixture;

TEST_F(MainExecutor, ThatDropsWhatItIsGivenHoldsNothingUp) {
  const auto client = configure(std::make_shared<DroppingExecutor>());
  client->onAttribution([](const auto&) { ADD_FAILURE() << "dropped, yet called"; });
  EXPECT_TRUE(client->trackInstallAsync(false).get().attributed());
  EXPECT_TRUE(client->lastAttribution().has_value());
  EXPECT_TRUE(client->trackInstallAsync(true).get().attributed());
  EXPECT_EQ(server.requests().size(), 2U);

  const auto held = std::make_shared<int>();
  client->trackInstallAsync(false).whenDone([held](const auto&) { ADD_FAILURE() << "dropped, yet called"; });
  client->trackInstallAsync(false).get();
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(MainExecutor, ThatDropsWhatWaitedLetsTheOperationEndAndTheNextOneSend) {
  const auto executor = std::make_shared<HoardingExecutor>();
  const auto client = configure(executor);
  client->onAttribution([](const auto&) { ADD_FAILURE() << "dropped, yet called"; });
  const auto task = client->trackInstallAsync(false);
  executor->awaitPost();
  EXPECT_FALSE(task.isDone());
  executor->drop();
  EXPECT_TRUE(task.get().attributed());

  const auto next = client->trackInstallAsync(true);
  executor->awaitPost();
  executor->drop();
  EXPECT_TRUE(next.get().attributed());
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(MainExecutor, ThatDiesWithItsClientLetsTheOperationEnd) {
  auto executor = std::make_shared<HoardingExecutor>();
  auto client = configure(executor);
  const auto task = client->trackInstallAsync(false);
  executor->awaitPost();

  Corvane::setPlatform({});
  Corvane::setShared(nullptr);
  client.reset();
  executor.reset();
  EXPECT_TRUE(task.get().attributed());
}

}  // namespace
}  // namespace corvane::test
