#include <gtest/gtest.h>
#include <signal.h>

#include <future>
#include <nlohmann/json.hpp>

#include "process/SandboxProcess.h"

namespace corvane::test {
namespace {

using nlohmann::json;

class SandboxFaults : public testing::Test {
 protected:
  SandboxAnswer send(const std::string& idempotencyKey = "E1") {
    return sandbox.post("/v1/events", {{"identifier", "app"}, {"name", "purchase"}},
                        {"X-Api-Key: cv_test", "Idempotency-Key: " + idempotencyKey});
  }

  SandboxProcess sandbox;
};

TEST_F(SandboxFaults, ScriptedResponsesComeInOrderBeforeTheRealOne) {
  sandbox.faults(
      {{{"path", "/v1/events"}, {"status", 503}, {"headers", {{"Retry-After", "2"}}}, {"times", 2}},
       {{"path", "/v1/events"}, {"body", "<html>"}},
       {{"path", "/v1/events"}, {"status", 500}, {"body", {{"a", 1}}}}});
  const SandboxAnswer first = send();
  EXPECT_EQ(first.status, 503);
  EXPECT_EQ(first.headers.at("retry-after"), "2");
  EXPECT_EQ(first.body, "");
  EXPECT_EQ(sandbox.records()["faults"][0]["times"], 1);
  EXPECT_EQ(send().status, 503);
  EXPECT_EQ(send().body, "<html>");
  EXPECT_EQ(send().body, R"({"a":1})");
  EXPECT_EQ(sandbox.records()["events"].size(), 0u);
  EXPECT_EQ(send().status, 200);
  const json records = sandbox.records();
  EXPECT_EQ(records["events"].size(), 1u);
  EXPECT_EQ(records["keys"][0]["arrivals"], 5);
  EXPECT_EQ(records["arrivals"][0]["headers"]["idempotency-key"], "E1");
  EXPECT_EQ(records["arrivals"][0]["status"], 503);
}

TEST_F(SandboxFaults, AResetLosesTheRequestOrOnlyItsResponse) {
  sandbox.faults(
      {{{"path", "/v1/events"}, {"reset", "before"}}, {{"path", "/v1/events"}, {"reset", "after"}}});
  for (const auto& [status, events] : {std::pair(0, 0u), {0, 1u}, {200, 1u}}) {
    EXPECT_EQ(send().status, status);
    EXPECT_EQ(sandbox.records()["events"].size(), events);
  }
}

TEST_F(SandboxFaults, ARequestWithoutResponseDelaysNoOther) {
  sandbox.faults({{"path", "/v1/events"}, {"silence", true}});
  auto silent = std::async(std::launch::async, [this] { return send("silent"); });
  sandbox.awaitRecords([](const json& records) { return records["arrivals"].size() == 1; });
  EXPECT_EQ(send("other").status, 200);
  EXPECT_EQ(sandbox.records()["arrivals"][0]["status"], 0);
  EXPECT_EQ(sandbox.terminate(SIGTERM), 0);
  EXPECT_EQ(silent.get().status, 0);
}

TEST_F(SandboxFaults, ADelayedResponseIsComplete) {
  sandbox.faults({{"path", "/v1/events"}, {"delayMs", 50}, {"byteDelayMs", 1}});
  const auto start = std::chrono::steady_clock::now();
  const SandboxAnswer answer = send();
  EXPECT_EQ(answer.json()["attributed"], false);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
}

TEST_F(SandboxFaults, AnyPathButTheSandboxsOwnCanFail) {
  sandbox.faults({{"path", "/elsewhere"}, {"status", 302}, {"headers", {{"Location", "/v1/events"}}}});
  EXPECT_EQ(sandbox.request("GET", "/elsewhere?a=b").status, 302);
  EXPECT_EQ(sandbox.request("GET", "/elsewhere").status, 404);
  EXPECT_EQ(sandbox.post("/sandbox/faults", {{"path", "/sandbox/faults"}, {"status", 500}}).status, 400);
}

TEST_F(SandboxFaults, AnInvalidFaultIsRefusedWithItsArray) {
  const json good = {{"path", "/v1/events"}, {"status", 503}};
  for (const json& bad : std::vector<json>{{{"path", "/v1/events"}, {"time", 3}},
                                           {{"status", 503}},
                                           {{"path", "/v1/events"}, {"status", 100}},
                                           {{"path", "/v1/events"}, {"times", 0}},
                                           {{"path", "/v1/events"}, {"times", 18446744073709551615u}},
                                           {{"path", "/v1/events"}, {"reset", "never"}},
                                           {{"path", "/v1/events"}, {"headers", {{"A", "1\r\nB: 2"}}}},
                                           "503"}) {
    EXPECT_EQ(sandbox.post("/sandbox/faults", {good, bad}).status, 400) << bad;
  }
  EXPECT_EQ(sandbox.request("GET", "/sandbox/faults").json(), json::array());
}

}  // namespace
}  // namespace corvane::test
