#include <corvane/Corvane.h>
#include <corvane/CorvaneMainQueue.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>

#include "flows/EventStoreCodec.h"
#include "platform/preferences/UserDefaults.h"
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
/// How many exchanges the transport has at once, and so how many connections.
constexpr std::size_t maxConnections = 8;

/// A host that tracks thousands of events in a loop on its main thread.
struct Burst : testing::Test {
  ~Burst() override {
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

  /// Tracks them all, and waits until each has succeeded or failed.
  void track(Corvane& client) {
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < eventCount; ++i) {
      const std::string name = "e" + std::to_string(i);
      client.trackEventAsync(name).whenDone([this, name](const CorvaneTask<CorvaneEventResult>& task) {
        try {
          task.get();
          ++succeeded;
        } catch (const CorvaneError&) {
          failed.push_back(name);
        }
        if (succeeded + failed.size() == eventCount) CorvaneMainQueue::main()->stop();
      });
    }
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
    std::printf("%d calls: %.2f us each\n", eventCount, taken.count() / eventCount);
    tracked.open();
    CorvaneMainQueue::main()->run();
    EXPECT_EQ(succeeded + failed.size(), static_cast<std::size_t>(eventCount));
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
  std::size_t succeeded = 0;
  /// In the order in which the host was told.
  Lines failed;
};

/// How often each name and key came.
std::map<std::string, int> count(const std::vector<LoopbackRequest>& requests) {
  std::map<std::string, int> arrivals;
  for (const auto& request : requests)
    ++arrivals[json::parse(request.body).at("name").get<std::string>() + " " +
               request.header("Idempotency-Key")];
  return arrivals;
}

TEST_F(Burst, OfEventsIsRecordedOnceEachByABackendThatIsSlowAtFirst) {
  tracked.close();
  LoopbackServer server([this](const auto&) {
    tracked.pass();
    return LoopbackAnswer::of(200, R"({"attributed":true})");
  });
  const auto client = configure(server.url(""));
  track(*client);
  EXPECT_EQ(succeeded, static_cast<std::size_t>(eventCount));
  EXPECT_EQ(count(server.requests()).size(), static_cast<std::size_t>(eventCount));
  EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(eventCount));
  EXPECT_LE(server.connectionsAccepted(), maxConnections);
}

TEST_F(Burst, OfEventsLeavesTheLastHundredFailuresWhenTheBackendIsDown) {
  const auto client = configure("http://127.0.0.1:1");
  track(*client);
  ASSERT_EQ(failed.size(), static_cast<std::size_t>(eventCount));
  EXPECT_EQ(queuedNames(), Lines(failed.end() - 100, failed.end()));
}

TEST_F(Burst, OfSuccessesSendsWhatTheBackendRefusesForEverOneAtATime) {
  const std::vector<std::string> refused = {"r0", "r1", "r2", "r3", "r4"};
  EventQueueEntries entries;
  std::vector<std::string> objects;
  for (const auto& name : refused)
    objects.push_back(encodeEntry({.id = name, .request = {.identifier = "", .name = name}}));
  platform::UserDefaults::open(file)->setData(joinEntries({objects.begin(), objects.end()}),
                                              "io.corvane.event_queue");
  // The first refusal is held back until half of the successes have come, each of which starts a flush.
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
    half.wait(lock, [&] { return answered >= eventCount / 2; });
    return LoopbackAnswer::of(400);
  });
  const auto client = configure(server.url(""));
  track(*client);
  EXPECT_EQ(succeeded, static_cast<std::size_t>(eventCount));
  const std::size_t needless = server.requests().size() - succeeded;
  std::printf("%zu successes beside 5 refused entries: %zu needless posts\n", succeeded, needless);
  {
    const std::lock_guard lock(mutex);
    EXPECT_EQ(resentByHalf, 1) << "an entry that one flush was sending was sent by another too";
  }
  EXPECT_LT(needless, succeeded);
  EXPECT_LE(server.connectionsAccepted(), maxConnections);
  EXPECT_EQ(queuedNames(), refused);
}

}  // namespace
}  // namespace corvane::test
