#include <corvane/Corvane.h>
#include <corvane/CorvaneMainQueue.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>

#include "model/EventStoreCodec.h"
#include "platform/preferences/UserDefaults.h"
#include "support/Await.h"
#include "support/BaseURL.h"
#include "support/Build.h"
#include "support/Gate.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using nlohmann::json;
using Lines = std::vector<std::string>;

constexpr int eventCount = underSanitizer ? 1'000 : 10'000;
/// The limit of simultaneous exchanges, and so of connections.
constexpr std::size_t maxConnections = 8;

/// A host that tracks thousands of events in a loop on its main thread.
struct EventBurst : testing::Test {
  ~EventBurst() override {
    Corvane::setShared(nullptr);
    Corvane::setPlatform({});
    CorvaneMainQueue::main()->poll();
  }

  std::shared_ptr<Corvane> configure(const std::string& backend) const {
    setBaseURL(backend);
    Corvane::setPlatform({.preferencesFile = file});
    return Corvane::configure("cv_test",
                              {.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  }

  /// Tracks all events and waits until each has succeeded.
  void track(Corvane& client) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < eventCount; ++i) {
      const std::string name = "e" + std::to_string(i);
      client.trackEventAsync(name).whenDone([this, name](const CorvaneTask<CorvaneEventResult>& task) {
        try {
          task.get();
          ++succeeded;
        } catch (const CorvaneError& error) {
          ADD_FAILURE() << name << ": " << error.what();
        }
        ++ended;
      });
    }
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
    std::printf("%d calls: %.2f us each\n", eventCount, taken.count() / eventCount);
    tracked.open();
    CorvaneMainQueue::main()->runUntil([this] { return ended == eventCount; },
                                       std::chrono::steady_clock::now() + std::chrono::seconds(90));
    ASSERT_EQ(succeeded, eventCount) << ended << " of the events ended within 90 s";
  }

  Lines queuedNames() const {
    Lines names;
    const auto bytes = platform::UserDefaults::open(file)->dataForKey("io.corvane.event_queue");
    if (!bytes) return names;
    for (const auto& entry : decodeQueue(*bytes)) names.push_back(entry.request.name);
    return names;
  }

  TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "preferences.sqlite";
  Gate tracked;
  int succeeded = 0;
  int ended = 0;
};

/// How many requests came with each name and key.
std::map<std::string, int> count(const std::vector<LoopbackRequest>& requests) {
  std::map<std::string, int> arrivals;
  for (const auto& request : requests)
    ++arrivals[json::parse(request.body).at("name").get<std::string>() + " " +
               request.header("Idempotency-Key")];
  return arrivals;
}

TEST_F(EventBurst, IsRecordedOnceEachByABackendThatIsSlowAtFirst) {
  tracked.close();
  LoopbackServer server([this](const auto&) {
    tracked.pass();
    return LoopbackAnswer::of(200, R"({"attributed":true})");
  });
  const auto client = configure(server.url(""));
  track(*client);
  EXPECT_EQ(count(server.requests()).size(), static_cast<std::size_t>(eventCount));
  EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(eventCount));
  EXPECT_LE(server.connectionsAccepted(), maxConnections);
}

TEST_F(EventBurst, ResendsRejectedEntriesOneAtATime) {
  const Lines rejected = {"r0", "r1", "r2", "r3", "r4"};
  EventQueueEntries entries;
  std::vector<std::string> objects;
  for (const auto& name : rejected)
    objects.push_back(encodeEntry({.id = name, .request = {.identifier = "", .name = name}}));
  platform::UserDefaults::open(file)->setData(joinEntries({objects.begin(), objects.end()}),
                                              "io.corvane.event_queue");
  // The first rejection is delayed until half of the successes have come. Each success starts a flush.
  std::mutex mutex;
  std::condition_variable half;
  int answered = 0, resent = 0, resentByHalf = 0;
  LoopbackServer server([&](const LoopbackRequest& request) {
    std::unique_lock lock(mutex);
    if (request.body.find("\"name\":\"r") == std::string::npos) {
      if (++answered == eventCount / 2) resentByHalf = resent;
      half.notify_all();
      return LoopbackAnswer::of(200, "");
    }
    ++resent;
    await(half, lock, "half of the successes", [&] { return answered >= eventCount / 2; });
    return LoopbackAnswer::of(400);
  });
  const auto client = configure(server.url(""));
  track(*client);
  const std::size_t needless = server.requests().size() - std::size_t{eventCount};
  std::printf("%d successes beside 5 rejected entries: %zu needless requests\n", eventCount, needless);
  {
    const std::lock_guard lock(mutex);
    EXPECT_EQ(resentByHalf, 1) << "an entry that one flush was sending was sent by another too";
  }
  EXPECT_LT(needless, std::size_t{eventCount});
  EXPECT_LE(server.connectionsAccepted(), maxConnections);
  EXPECT_EQ(queuedNames(), rejected);
}

}  // namespace
}  // namespace corvane::test
