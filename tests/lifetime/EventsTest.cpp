#include <corvane/Corvane.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "lifetime/HostProgram.h"
#include "model/EventStoreCodec.h"
#include "platform/preferences/UserDefaults.h"
#include "process/SandboxProcess.h"
#include "support/Await.h"
#include "support/BaseURL.h"
#include "support/Build.h"
#include "support/Draw.h"
#include "support/Gate.h"
#include "support/LoopbackServer.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using nlohmann::json;
using Names = std::set<std::string>;

constexpr const char* closedPort = "http://127.0.0.1:1";

/// One installation. Its programs share a preferences file.
struct Installation {
  ChildEnd run(const char* scenario, const std::string& backend, std::vector<std::string> arguments) const {
    return runHost(scenario, backend, folder.path(), std::move(arguments));
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

/// The idempotency keys under which the backend has each event.
std::map<std::string, std::vector<std::string>> recordedKeys(const SandboxProcess& sandbox) {
  std::map<std::string, std::vector<std::string>> keys;
  const json records = sandbox.records();
  for (const json& event : records.at("events"))
    keys[event.at("request").at("name")].push_back(event.at("key"));
  return keys;
}

struct Backend {
  const char* name;
  const char* scheme = "http://127.0.0.1:";
  LoopbackResponse response = LoopbackResponse::silence();
  std::size_t events = 20;
};

class EventsAtExit : public testing::TestWithParam<Backend> {};

TEST_P(EventsAtExit, AreQueuedUnderTheKeysOfTheirRequests) {
  LoopbackServer server(GetParam().response);
  const std::string url = GetParam().scheme + std::to_string(server.port());
  Draw draw("EventsAtExit");
  std::vector<Milliseconds> durations;
  repeat(repeatsInFull ? 20 : 3, [&](int) {
    const Installation app;
    const ChildEnd end =
        app.run("endWithEventsInFlight", url,
                {"e", std::to_string(GetParam().events), std::to_string(draw.below(30'000))});
    expectCleanEnd(end, 7);
    durations.push_back(exitDuration(end));
    EXPECT_FALSE(std::filesystem::exists(app.file.string() + "-wal")) << "the next launch would recover it";

    const auto expected = std::min<std::size_t>(GetParam().events, 100);
    EXPECT_EQ(app.queuedNames().size(), expected);
    std::map<std::string, std::string> queued;
    for (const auto& entry : app.queued()) queued[entry.id] = entry.request.name;
    EXPECT_EQ(queued.size(), expected);
    for (const auto& request : server.requests()) {
      const std::string name = json::parse(request.body).at("name");
      const auto entry = queued.find(request.header("Idempotency-Key"));
      if (entry != queued.end()) {
        EXPECT_EQ(entry->second, name);
      }
    }
  });
  printDurations(std::move(durations));
}

INSTANTIATE_TEST_SUITE_P(
    , EventsAtExit,
    testing::Values(Backend{.name = "WhileAServerIsSilent"},
                    Backend{.name = "UpToAHundredOfThousands", .events = 5000},
                    Backend{.name = "InTheMiddleOfATLSHandshake", .scheme = "https://127.0.0.1:"},
                    Backend{.name = "BetweenTwoAttempts", .response = LoopbackResponse::of(503)}),
    [](const auto& backend) { return backend.param.name; });

/// Faults for the next requests of a sandbox, drawn from four kinds.
json drawFaults(Draw& draw) {
  const json kinds[] = {{{"path", "/v1/events"}, {"status", 503}},
                        {{"path", "/v1/events"}, {"reset", "before"}},
                        {{"path", "/v1/events"}, {"reset", "after"}},
                        {{"path", "/v1/events"}, {"delayMs", 5}}};
  json faults = json::array();
  for (int i = 0; i < 6; ++i) faults.push_back(kinds[draw.below(4)]);
  return faults;
}

TEST(EventPersistence, NeitherLosesNorDoublesAnEventWhenTheProcessIsKilled) {
  Draw draw("Kill");
  const SandboxProcess sandbox;
  const Installation app;
  Names failed;
  const auto expectNoneLost = [&] {
    const Names queued = app.queuedNames();
    const auto recorded = recordedKeys(sandbox);
    for (const auto& name : failed) EXPECT_TRUE(queued.contains(name) || recorded.contains(name)) << name;
    for (const auto& [name, keys] : recorded) EXPECT_EQ(keys.size(), 1U) << name;
  };
  const int runs = repeat(repeatsInFull ? 200 : 20, [&](int run) {
    sandbox.clearFaults();
    sandbox.faults(drawFaults(draw));
    const ChildEnd end = app.run("trackEventsUntilKilled", sandbox.baseURL(),
                                 {"run" + std::to_string(run), "4", std::to_string(draw.below(40'000))});
    ASSERT_FALSE(end.timedOut) << "the program did not kill itself in time";
    ASSERT_EQ(end.status, -SIGKILL);
    for (const auto& line : end.lines())
      if (line.starts_with("failed ")) failed.insert(line.substr(7));
    ASSERT_LT(app.queuedNames().size(), 100U) << "the queue is full and drops entries";
    // The list of all events is long, and a lost event stays lost, so not every run reads it.
    if (run % 10 == 9) expectNoneLost();
  });
  expectNoneLost();
  std::printf("%d kills: %zu failures reported, %zu events recorded, %zu still queued\n", runs, failed.size(),
              recordedKeys(sandbox).size(), app.queued().size());
}

TEST(EventPersistence, KeepsTheEventsThatAreStoredUnsentWhenTheProcessIsKilled) {
  Draw draw("StoreUnsent");
  const SandboxProcess sandbox;
  const auto isStored = [](const ChildEnd& end) {
    EXPECT_EQ(end.status, -SIGKILL) << end.output;
    return end.output.find("stored 1 in ") != std::string::npos;
  };
  int stored = 0;
  Names missing;
  // The sandbox lists the newest 500 events.
  const int runs = repeat(10, [&](int run) {
    const Installation app;
    const std::string prefix = "run" + std::to_string(run);
    sandbox.faults(drawFaults(draw));
    if (!isStored(app.run("storeUnsentEventsAndDie", sandbox.baseURL(),
                          {prefix, "40", std::to_string(draw.below(30'000))})))
      return;
    ++stored;
    for (int i = 0; i < 40; ++i) missing.insert(prefix + "-" + std::to_string(i));
    for (const auto& name : app.queuedNames()) missing.erase(name);
    app.run("trackEvents", sandbox.baseURL(), {prefix + "-after", "1"});
  });
  for (const auto& [name, keys] : recordedKeys(sandbox)) {
    EXPECT_EQ(keys.size(), 1U) << name;
    missing.erase(name);
  }
  EXPECT_EQ(missing, Names());
  EXPECT_GT(stored, runs / 2) << "the file was written in time";

  const Installation app;
  LoopbackServer silent(LoopbackResponse::silence());
  ASSERT_TRUE(isStored(app.run("storeUnsentEventsAndDie", silent.url(""), {"e", "120", "0"})));
  const Names queued = app.queuedNames();
  EXPECT_EQ(queued.size(), 100U);
  EXPECT_TRUE(queued.contains("e-20") && queued.contains("e-119")) << "the newest";
}

/// Does `work` while this process is in a write transaction on the file.
void whileHeld(const Installation& app, const std::function<void()>& work) {
  platform::UserDefaults::open(app.file)->updateData("other", [&](const auto& before) {
    work();
    return before;
  });
}

TEST(EventPersistence, ReportsNoFailureOfAnEventThatOnlyWaitsForAFileThatIsHeld) {
  const Installation app;
  ChildEnd end;
  whileHeld(app, [&] { end = app.run("trackEventsUntilKilled", closedPort, {"e", "3", "1000000"}); });
  EXPECT_EQ(end.status, -SIGKILL);
  for (const auto& line : end.lines()) EXPECT_FALSE(line.starts_with("failed ")) << line;
}

TEST(EventPersistence, KeepsTheEventsOfAProgramThatExitsWhileTheFileIsHeld) {
  const Installation app;
  ChildProcess program(LIFETIME_HOST,
                       {"endWithEventsInFlight", closedPort, app.folder.path(), "e", "20", "0"});
  whileHeld(app, [&] {
    for (int failed = 0; failed < 20;)
      failed += program.readLine().value_or("ended").find("queued for retry") != std::string::npos ? 1 : 0;
  });
  EXPECT_EQ(program.awaitEnd().status, 7);
  EXPECT_EQ(app.queuedNames().size(), 20U);
}

TEST(EventBurst, IsDeliveredOnceEachToABackendThatIsSlowAtFirst) {
  constexpr std::size_t count = underSanitizer ? 1'000 : 10'000;
  Gate tracked;
  tracked.close();
  LoopbackServer server([&](const auto&) {
    tracked.pass();
    return LoopbackResponse::of(200, R"({"attributed":true})");
  });
  const TemporaryFolder folder;
  setBaseURL(server.url(""));
  Corvane::setPlatform({.preferencesFile = folder.path() / "preferences.sqlite"});
  const auto client = Corvane::configure("cv_test", {.autoTrackInstall = false});
  std::vector<CorvaneTask<CorvaneEventResult>> tasks;
  for (std::size_t i = 0; i < count; ++i) tasks.push_back(client->trackEventAsync("e" + std::to_string(i)));
  tracked.open();
  for (const auto& task : tasks) await(task, "an event");
  Corvane::setShared(nullptr);
  Names keys;
  for (const auto& request : server.requests()) keys.insert(request.header("Idempotency-Key"));
  EXPECT_EQ(keys.size(), count);
  EXPECT_EQ(server.requestCount(), count);
}

TEST(EventPersistence, KeepsTheEventsOfSeveralProgramsOnOneFile) {
  const SandboxProcess sandbox;
  const Installation app;
  const auto begin = [&](const std::string& url, const char* prefix, const char* count) {
    return std::async(std::launch::async, [=, &app] { return app.run("trackEvents", url, {prefix, count}); });
  };
  std::vector<std::future<ChildEnd>> programs;
  for (const char* prefix : {"a", "b", "c"}) programs.push_back(begin(closedPort, prefix, "20"));
  programs.push_back(begin(sandbox.baseURL(), "delivered", "40"));
  std::string outputs;
  for (auto& program : programs) {
    const ChildEnd end = program.get();
    EXPECT_EQ(end.status, 0) << (end.timedOut ? "did not end in time" : "");
    outputs += "A program:\n" + end.output + end.errors;
  }
  SCOPED_TRACE(outputs);
  const Names queued = app.queuedNames();
  const auto recorded = recordedKeys(sandbox);
  for (const char* prefix : {"a", "b", "c"}) {
    for (int i = 0; i < 20; ++i) {
      const std::string name = std::string(prefix) + "-" + std::to_string(i);
      // Both where the program that delivered it ended before it got the response.
      EXPECT_TRUE(queued.contains(name) || recorded.contains(name)) << name;
    }
  }
  for (const auto& [name, keys] : recorded) EXPECT_EQ(keys.size(), 1U) << name;
}

}  // namespace
}  // namespace corvane::test
