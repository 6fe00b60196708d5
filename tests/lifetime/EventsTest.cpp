#include <corvane/Corvane.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "flows/EventStore.h"
#include "flows/EventStoreCodec.h"
#include "platform/preferences/UserDefaults.h"
#include "platform/preferences/UserDefaultsFlagStore.h"
#include "process/ChildProcess.h"
#include "process/SandboxProcess.h"
#include "support/BaseURL.h"
#include "support/Build.h"
#include "support/Draw.h"
#include "support/FakeBackground.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using nlohmann::json;
using Names = std::set<std::string>;

constexpr const char* closedPort = "http://127.0.0.1:1";

/// One installation, whose programs share a preferences file.
struct Installation {
  ChildEnd run(const char* scenario, const std::string& backend, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {scenario, backend, folder.path()});
    return runProgram(LIFETIME_HOST, std::move(arguments));
  }

  EventQueueEntries queued() const {
    const auto bytes = platform::UserDefaults::open(file)->dataForKey("io.corvane.event_queue");
    return bytes ? decodeQueue(*bytes) : EventQueueEntries();
  }

  Names queuedNames() const {
    Names names;
    for (const auto& entry : queued()) EXPECT_TRUE(names.insert(entry.request.name).second) << "twice";
    return names;
  }

  TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "preferences.sqlite";
};

/// The keys that each event is at the backend under.
std::map<std::string, std::vector<std::string>> recordedKeys(const SandboxProcess& sandbox) {
  std::map<std::string, std::vector<std::string>> keys;
  const json records = sandbox.records();
  for (const json& event : records.at("events"))
    keys[event.at("request").at("name")].push_back(event.at("key"));
  return keys;
}

struct Backend {
  const char* name;
  const char* scheme;
  LoopbackServer::Handler handler;
};

class EventsAtExit : public testing::TestWithParam<Backend> {};

TEST_P(EventsAtExit, AreQueuedWithTheirKeysAndRecordedOnceAfterTheNextStart) {
  LoopbackServer server(GetParam().handler);
  const std::string url = GetParam().scheme + std::to_string(server.port());
  Draw draw("EventsAtExit");
  std::vector<double> durations;
  for (int run = 0; run < (repeatsInFull ? 20 : 3); ++run) {
    const Installation app;
    const ChildEnd end =
        app.run("endWithEventsInFlight", url, {"e", "20", std::to_string(draw.below(30'000))});
    EXPECT_FALSE(end.timedOut);
    EXPECT_EQ(end.status, 7) << end.errors;
    const auto lines = end.lines();
    const auto leaving = std::ranges::find_if(lines, [](const auto& l) { return l.starts_with("leaving "); });
    ASSERT_NE(leaving, lines.end());
    const auto left = std::chrono::nanoseconds(std::stoll(leaving->substr(8)));
    durations.push_back(
        std::chrono::duration<double, std::milli>(end.moment.time_since_epoch() - left).count());

    std::map<std::string, std::string> queued;
    for (const auto& entry : app.queued()) queued[entry.id] = entry.request.name;
    ASSERT_EQ(queued.size(), 20U) << end.output;
    EXPECT_EQ(app.queuedNames().size(), 20U);
    for (const auto& request : server.requests()) {
      const std::string name = json::parse(request.body).at("name");
      const auto entry = queued.find(request.header("Idempotency-Key"));
      if (entry != queued.end()) {
        EXPECT_EQ(entry->second, name);
      }
    }
    if (run > 0) continue;

    const SandboxProcess sandbox;
    setBaseURL(sandbox.baseURL());
    Corvane::setPlatform({.preferencesFile = app.file});
    const auto client = Corvane::configure("cv_test", {.autoTrackInstall = false});
    sandbox.awaitRecords([](const json& records) { return records.at("events").size() >= 20; });
    const auto recorded = recordedKeys(sandbox);
    EXPECT_EQ(recorded.size(), 20U);
    for (const auto& [name, keys] : recorded) {
      ASSERT_EQ(keys.size(), 1U);
      EXPECT_EQ(queued[keys[0]], name);
    }
    Corvane::setShared(nullptr);
  }
  std::ranges::sort(durations);
  std::printf("%zu ends: %.1f ms median, %.1f ms at most\n", durations.size(),
              durations[durations.size() / 2], durations.back());
}

INSTANTIATE_TEST_SUITE_P(, EventsAtExit,
                         testing::Values(Backend{"WhileAServerDoesNotAnswer", "http://127.0.0.1:",
                                                 [](const auto&) { return LoopbackAnswer::silence(); }},
                                         Backend{"InTheMiddleOfATLSHandshake", "https://127.0.0.1:",
                                                 [](const auto&) { return LoopbackAnswer::silence(); }},
                                         Backend{"BetweenTwoTries", "http://127.0.0.1:",
                                                 [](const auto&) { return LoopbackAnswer::of(503); }}),
                         [](const auto& backend) { return backend.param.name; });

TEST(EventsOfAProgram, OfWhichThousandsAreInFlightLeaveTheNewestHundredAtItsExit) {
  LoopbackServer server([](const auto&) { return LoopbackAnswer::silence(); });
  const Installation app;
  const ChildEnd end = app.run("endWithEventsInFlight", server.url(""), {"e", "5000", "10000"});
  EXPECT_EQ(end.status, 7);
  EXPECT_FALSE(end.timedOut);
  EXPECT_EQ(app.queuedNames().size(), 100U);
}

TEST(EventsOfAProgram, ThatIsKilledAtAnyMomentAreNeitherLostNorRecordedUnderTwoKeys) {
  Draw draw("Kill");
  const SandboxProcess sandbox;
  const Installation app;
  Names failed;
  const int runs = repeatsInFull ? 200 : 20;
  for (int run = 0; run < runs && !testing::Test::HasFailure(); ++run) {
    json faults = json::array();
    for (int i = 0; i < 6; ++i) {
      const json kinds[] = {{{"path", "/v1/events"}, {"status", 503}},
                            {{"path", "/v1/events"}, {"reset", "before"}},
                            {{"path", "/v1/events"}, {"reset", "after"}},
                            {{"path", "/v1/events"}, {"delayMs", 5}}};
      faults.push_back(kinds[draw.below(4)]);
    }
    sandbox.clearFaults();
    sandbox.faults(faults);
    const ChildEnd end = app.run("trackEventsUntilKilled", sandbox.baseURL(),
                                 {"run" + std::to_string(run), "4", std::to_string(draw.below(40'000))});
    ASSERT_EQ(end.status, -SIGKILL);
    for (const auto& line : end.lines())
      if (line.starts_with("failed ")) failed.insert(line.substr(7));

    const Names queued = app.queuedNames();
    ASSERT_LT(queued.size(), 100U) << "the queue pushes out: this test is about what it keeps";
    // What was not lost is not lost later: the long list of all events need not be read each time.
    if (run % 10 < 9) continue;
    const auto recorded = recordedKeys(sandbox);
    for (const auto& name : failed) EXPECT_TRUE(queued.contains(name) || recorded.contains(name)) << name;
    for (const auto& [name, keys] : recorded) EXPECT_EQ(keys.size(), 1U) << name;
  }
  std::printf("%d kills: %zu failures told, %zu events recorded, %zu still queued\n", runs, failed.size(),
              recordedKeys(sandbox).size(), app.queued().size());
}

TEST(EventsOfAProgram, AndOfOthersOnTheSameFileAreAllQueuedOrDelivered) {
  const SandboxProcess sandbox;
  const Installation app;
  {
    std::vector<std::jthread> programs;
    for (const char* prefix : {"a", "b", "c"})
      programs.emplace_back([&app, prefix] { app.run("trackEvents", closedPort, {prefix, "20"}); });
    programs.emplace_back([&] { app.run("trackEvents", sandbox.baseURL(), {"delivered", "40"}); });
  }
  const Names queued = app.queuedNames();
  const auto recorded = recordedKeys(sandbox);
  for (const char* prefix : {"a", "b", "c"}) {
    for (int i = 0; i < 20; ++i) {
      const std::string name = std::string(prefix) + "-" + std::to_string(i);
      EXPECT_EQ(queued.contains(name) + (recorded.contains(name) ? 1 : 0), 1) << name;
    }
  }
  for (const auto& [name, keys] : recorded) EXPECT_EQ(keys.size(), 1U) << name;
}

TEST(EventsOfAProgram, WaitInMemoryWhileAnotherHoldsTheFile) {
  const Installation app;
  const auto flags =
      std::make_shared<platform::UserDefaultsFlagStore>(platform::UserDefaults::open(app.file), "io.corvane");
  const auto storage = std::make_shared<EventStore>(flags, flags, "event_queue");
  FakeBackground background;
  const auto enqueue = [&](const char* id) {
    boost::asio::co_spawn(
        background.executor(),
        [&, id]() -> boost::asio::awaitable<void> {
          const EventQueueEntry entry{.id = id, .request = {.identifier = "app", .name = id}};
          co_await storage->enqueue(entry, background);
        },
        boost::asio::detached);
    background.run();
  };
  enqueue("before");

  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(app.file.c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  storage->remove("before");
  enqueue("meanwhile");
  EXPECT_EQ(app.queuedNames(), Names{"before"});
  EXPECT_EQ(storage->claim()->entries().at(0).id, "meanwhile");
  sqlite3_close(holder);

  enqueue("after");
  EXPECT_EQ(app.queuedNames(), (Names{"meanwhile", "after"}));
}

}  // namespace
}  // namespace corvane::test
