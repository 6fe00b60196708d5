#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "process/SandboxProcess.h"

namespace corvane::test {
namespace {

using nlohmann::json;

const std::string key = "X-Api-Key: cv_test";

json install(const std::string& device, bool consent = true, const std::string& token = "") {
  json request = {
      {"identifier", "com.example.app"}, {"platform", "iOS"}, {"deviceId", device}, {"consent", consent}};
  if (!token.empty()) request["clickId"] = token;
  return request;
}

json event(const std::string& device) {
  return {{"identifier", "com.example.app"}, {"name", "purchase"}, {"value", 9.99}, {"deviceId", device}};
}

class SandboxEndpoints : public testing::Test {
 protected:
  SandboxAnswer post(const std::string& path, const json& body, const std::string& idempotencyKey = "") {
    std::vector<std::string> headers = {key};
    if (!idempotencyKey.empty()) headers.push_back("Idempotency-Key: " + idempotencyKey);
    return sandbox.post(path, body, headers);
  }
  json installed(const std::string& device, bool consent = true, const std::string& token = "") {
    const SandboxAnswer answer =
        post("/v1/events/install", install(device, consent, token), "install:" + device);
    EXPECT_EQ(answer.status, 200) << answer.body;
    return answer.json();
  }

  SandboxProcess sandbox;
};

TEST_F(SandboxEndpoints, AnInstallMatchesTheFreeClickOfItsTokenHoweverOld) {
  sandbox.link({{"slug", "old"}, {"deepLinkPath", "/old"}});
  sandbox.link({{"slug", "new"}, {"deepLinkPath", "/new"}});
  const std::string token = sandbox.click("old", 100'000).token;
  sandbox.click("new");
  const json answer = installed("A", true, token);
  EXPECT_EQ(answer["attributed"], true);
  EXPECT_EQ(answer["deepLink"]["deepLinkPath"], "/old");
  EXPECT_EQ(sandbox.records()["installs"][0]["match"], "deterministic");
  sandbox.reset();
  EXPECT_EQ(installed("B", true, token)["attributed"], false) << "the click was deleted";
  const std::string taken = sandbox.click("old").token;
  EXPECT_EQ(installed("C", true, taken)["attributed"], true);
  EXPECT_EQ(installed("D", true, taken)["attributed"], false) << "the click belongs to another device";
}

TEST_F(SandboxEndpoints, AnInstallWithoutATokenMatchesTheLatestFreeClickOfTheLastHour) {
  sandbox.link({{"slug", "one"}});
  sandbox.link({{"slug", "two"}});
  sandbox.click("two", 600);
  sandbox.click("one", 1200);
  sandbox.click("one", 3700);
  EXPECT_EQ(installed("A")["deepLink"]["slug"], "two");
  EXPECT_EQ(installed("B")["deepLink"]["slug"], "one");
  const json organic = installed("C");
  EXPECT_EQ(organic["attributed"], false);
  EXPECT_FALSE(organic.contains("deepLink"));
}

TEST_F(SandboxEndpoints, ARepeatedKeyGetsTheSameResponseAndIsRecordedOnce) {
  sandbox.link({{"slug", "summer"}, {"campaign", "Before"}});
  sandbox.click("summer");
  const json first = installed("A");
  sandbox.link({{"slug", "summer"}, {"campaign", "After"}});
  EXPECT_EQ(installed("A"), first);
  const json firstEvent = post("/v1/events", event("A"), "E1").json();
  EXPECT_EQ(post("/v1/events", event("A"), "E1").json(), firstEvent);
  EXPECT_NE(post("/v1/events", event("A"), "E2").json(), firstEvent);
  const json records = sandbox.records();
  EXPECT_EQ(records["installs"].size(), 1u);
  EXPECT_EQ(records["events"].size(), 2u);
  EXPECT_EQ(records["keys"][0]["key"], "install:A");
  EXPECT_EQ(records["keys"][0]["arrivals"], 2);
}

TEST_F(SandboxEndpoints, AnInstallIsCountedFromItsFirstRequestWithConsent) {
  sandbox.link({{"slug", "summer"}, {"deepLinkPath", "/offers/7"}});
  sandbox.click("summer");
  const json asked = installed("A", false);
  EXPECT_EQ(asked["deepLink"]["deepLinkPath"], "/offers/7");
  EXPECT_FALSE(asked.contains("id"));
  EXPECT_EQ(sandbox.records()["installs"].size(), 0u);
  EXPECT_EQ(sandbox.records()["uncountedInstalls"].size(), 1u);

  EXPECT_EQ(installed("B")["attributed"], false) << "the click belongs to the first device";
  const json counted = installed("A");
  EXPECT_EQ(counted["deepLink"], asked["deepLink"]);
  EXPECT_TRUE(counted.contains("id"));
  EXPECT_EQ(installed("A", false), counted) << "repeats get the counted response";
  EXPECT_EQ(sandbox.records()["installs"].size(), 2u);
}

TEST_F(SandboxEndpoints, AnOpenReturnsTheWholeLinkOfItsSlug) {
  const json link = {
      {"slug", "summer"},
      {"deepLinkPath", "/offers/7"},
      {"iosUrl", "app://offers"},
      {"androidUrl", "https://a.example"},
      {"campaign", "Summer"},
      {"fallbackUrl", "https://f.example"},
      {"channel", "mail"},
      {"utm", {{"source", "x"}}},
      {"url", "https://go.example/summer"},
      {"customData", {{"price", 9.99}, {"big", 9223372036854775807}, {"vip", true}, {"none", nullptr}}}};
  sandbox.link(link);
  const json open =
      post("/v1/events/open", {{"identifier", "app"}, {"host", "go.example"}, {"slug", "summer"}}).json();
  EXPECT_EQ(open["attributed"], true);
  EXPECT_EQ(open["deepLink"], link);
  const json unknown = post("/v1/events/open", {{"identifier", "app"}, {"slug", "winter"}}).json();
  EXPECT_EQ(unknown["attributed"], false);
  EXPECT_FALSE(unknown.contains("deepLink"));
  EXPECT_EQ(sandbox.records()["opens"].size(), 2u);
}

TEST_F(SandboxEndpoints, AResolveNeedsNoKeyAndIsNotAnOpen) {
  const json link = sandbox.link({{"slug", "summer"}});
  EXPECT_EQ(sandbox.request("GET", "/v1/links/resolve?host=go.example&slug=summer").json(), link);
  EXPECT_EQ(sandbox.request("GET", "/v1/links/resolve?url=https%3A%2F%2Fgo.example%2Fsummer%2Fx").json(),
            link);
  const SandboxAnswer unknown = sandbox.request("GET", "/v1/links/resolve?slug=a%20%22b%ff");
  EXPECT_EQ(unknown.status, 404);
  EXPECT_TRUE(unknown.json()["error"].is_string());
  EXPECT_EQ(sandbox.request("GET", "/v1/links/resolve").status, 400);
  EXPECT_EQ(sandbox.request("GET", "/v1/links/resolve?slug=%zz").status, 400);
  EXPECT_EQ(sandbox.records()["resolves"].size(), 3u);
  EXPECT_EQ(sandbox.records()["opens"].size(), 0u);
}

TEST_F(SandboxEndpoints, APostNeedsAnAcceptedAPIKey) {
  for (const char* path : {"/v1/events/install", "/v1/events/open", "/v1/events"}) {
    EXPECT_EQ(sandbox.post(path, event("A")).status, 401) << path;
    EXPECT_EQ(sandbox.post(path, event("A"), {"X-Api-Key: sk_live"}).status, 401) << path;
    EXPECT_EQ(sandbox.post(path, event("A"), {"X-Api-Key;"}).status, 401) << path;
  }
  SandboxProcess strict({"--key", "cv_one", "--key", "cv_two"});
  EXPECT_EQ(strict.post("/v1/events", event("A"), {"X-Api-Key: cv_two"}).status, 200);
  EXPECT_EQ(strict.post("/v1/events", event("A"), {"X-Api-Key: cv_three"}).status, 401);
}

TEST_F(SandboxEndpoints, AnInvalidMemberIsRefusedByItsName) {
  const json missing = json::value_t::discarded;
  const std::tuple<const char*, json, const char*, json> table[] = {
      {"/v1/events/install", install("A"), "identifier", missing},
      {"/v1/events/install", install("A"), "platform", missing},
      {"/v1/events/install", install("A"), "consent", 1},
      {"/v1/events/install", install("A"), "deviceId", nullptr},
      {"/v1/events/install", install("A"), "clickId", "0123"},
      {"/v1/events/open", {{"identifier", "app"}}, "slug", 7},
      {"/v1/events", event("A"), "name", missing},
      {"/v1/events", event("A"), "value", "9.99"}};
  for (auto [path, body, member, value] : table) {
    body[member] = value;
    if (value.is_discarded()) body.erase(member);
    const SandboxAnswer answer = post(path, body, "K");
    EXPECT_EQ(answer.status, 400) << member;
    EXPECT_NE(answer.json()["error"].get<std::string>().find(member), std::string::npos) << answer.body;
  }
  EXPECT_EQ(post("/v1/events", json::array()).status, 400);
  EXPECT_EQ(sandbox.records()["installs"].size() + sandbox.records()["events"].size(), 0u);
  EXPECT_EQ(post("/v1/events", event("A"), "K").status, 200) << "a refusal is not kept for its key";
}

TEST_F(SandboxEndpoints, AnUnknownMethodOrPathIsRefused) {
  const SandboxAnswer answer = sandbox.request("PUT", "/v1/events");
  EXPECT_EQ(answer.status, 405);
  EXPECT_EQ(answer.headers.at("allow"), "POST");
  EXPECT_EQ(sandbox.post("/v1/links/resolve", {}).headers.at("allow"), "GET");
  EXPECT_EQ(sandbox.request("GET", "/v2/events").status, 404);
  EXPECT_TRUE(sandbox.request("GET", "/v1/nothing").json()["error"].is_string());
}

}  // namespace
}  // namespace corvane::test
