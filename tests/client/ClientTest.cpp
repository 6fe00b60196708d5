#include <algorithm>
#include <functional>
#include <stdexcept>

#include "client/Application.h"
#include "support/CapturedOutput.h"

namespace corvane::test {
namespace {

using nlohmann::json;
using Lines = std::vector<std::string>;

/// Cannot be emptied, and not be read while it has no text.
struct ThrowingPasteboard : MemoryPasteboard {
  std::optional<std::string> string() override {
    if (!text) throw std::runtime_error("no display");
    return text;
  }
  void clear() override { throw std::runtime_error("no display"); }
};

using Client = Application;

TEST_F(Client, TheFirstLaunchIsAttributedByItsClickAndTheSecondSendsNothing) {
  options.autoTrackInstall = true;
  pasteboard->text = sandbox.click("summer").text;
  auto client = launch();
  EXPECT_EQ(awaitCalls(2), (Lines{"attributed", "/offers/7"}));
  EXPECT_EQ(client->lastAttribution()->deepLink()->customData()->at("price"), "9.99");
  EXPECT_EQ(pasteboard->text, std::nullopt);

  client = launch();
  EXPECT_EQ(awaitCalls(1), Lines{"attributed"});
  EXPECT_EQ(await(client->trackInstallAsync(false)), *client->lastAttribution());
  const json installs = sandbox.records()["installs"];
  ASSERT_EQ(installs.size(), 1U);
  EXPECT_EQ(installs[0]["match"], "deterministic");
  EXPECT_EQ(stored()->stringForKey("io.corvane.device_id").value().size(), 36U);
}

TEST_F(Client, EveryFormOfTrackInstallPassesItsTextAndItsForce) {
  options.clickTokenSource = CorvaneClickTokenSource::pasteButton;
  const auto client = launch();
  const std::string text = sandbox.click("summer").text;
  EXPECT_TRUE(await(client->trackInstallAsync(text, false)).attributed());
  EXPECT_EQ(sandbox.records()["installs"][0]["match"], "deterministic");
  CapturedOutput output;
  client->trackInstall(text, false);
  client->trackInstall(false);
  await(client->trackInstallAsync(text, false));
  await(client->trackInstallAsync(false));
  client->trackInstall(true);
  sandbox.awaitRecords([](const auto& now) { return now.at("arrivals").size() == 2; });
  await(client->trackInstallAsync(true));
  EXPECT_EQ(
      std::ranges::count(output.lines(), "[Corvane] [INFO] Install already tracked — skipping network call"),
      4);
}

TEST_F(Client, ConsentIsStoredADenialDropsTheQueuedEventsAndAGrantCountsTheInstall) {
  const auto client = launch();
  stored()->setData("[]", "io.corvane.event_queue");
  CapturedOutput output;
  client->setConsent(false);
  EXPECT_EQ(stored()->dataForKey("io.corvane.event_queue"), std::nullopt);
  EXPECT_TRUE(stored()->boolForKey("io.corvane.consent_set"));
  EXPECT_FALSE(stored()->boolForKey("io.corvane.consent_granted"));
  client->setConsent(true);
  EXPECT_TRUE(stored()->boolForKey("io.corvane.consent_granted"));
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [INFO] Consent denied — dropping queued events",
                                   "[Corvane] [INFO] Consent granted"}));
  await(client->trackEventAsync("after"));
  EXPECT_TRUE(sandbox.records()["installs"].empty()) << "autoTrackInstall is off";
  options.autoTrackInstall = options.requireConsent = true;
  stored()->setBool(false, "io.corvane.consent_set");
  const auto asking = launch();
  EXPECT_EQ(awaitCalls(1), Lines{"organic"});
  asking->setConsent(true);
  sandbox.awaitRecords([](const auto& now) { return now.at("installs").size() == 1; });
}

TEST_F(Client, AfterAResetTheNextClientIsAFreshInstallationAndThisOneIsUnchanged) {
  const std::string prefix = "io.corvane.";
  stored()->setData(R"({"attributed":true,"id":5})", prefix + "last_attribution");
  const char* const flags[] = {"install_tracked", "deferred_routed", "consent_set", "consent_granted"};
  for (const char* key : flags) stored()->setBool(true, prefix + key);
  const auto client = launch();
  const auto deviceId = stored()->stringForKey(prefix + "device_id");
  CapturedOutput output;
  Corvane::resetForTesting();
  EXPECT_EQ(output.lines(),
            Lines{"[Corvane] Reset for testing — next launch will send a fresh install event"});
  EXPECT_EQ(client->lastAttribution()->id(), 5);
  for (const char* key : flags) EXPECT_FALSE(stored()->boolForKey(prefix + key)) << key;
  EXPECT_EQ(stored()->dataForKey(prefix + "last_attribution"), std::nullopt);
  EXPECT_EQ(launch()->lastAttribution(), std::nullopt);
  EXPECT_NE(stored()->stringForKey(prefix + "device_id"), deviceId);
}

TEST_F(Client, WhereNoFileCanBeMadeEventsOutliveTheirClientInMemoryButNotAReset) {
  platform.preferencesFile = "/proc/no such folder/preferences.sqlite";
  Corvane::setPlatform(platform);
  CapturedOutput output;
  auto client = launch();
  const auto isWarning = [](const auto& line) { return line.find("[WARN] Preferences file") != line.npos; };
  EXPECT_EQ(std::ranges::count_if(output.lines(), isWarning), 1);
  const auto fail = [&](const char* name) {
    sandbox.faults({{"path", "/v1/events"}, {"status", 503}, {"times", 3}});
    client->trackEvent(name);
    awaitCalls(1);
  };
  fail("kept");
  client = launch();
  sandbox.awaitRecords([](const auto& now) { return now.at("events").size() == 1; });
  fail("removed");
  Corvane::resetForTesting();
  client = launch();
  await(client->trackEventAsync("after"));
  await(client->trackEventAsync("last"));
  const json records = sandbox.records();
  for (const json& event : records["events"]) EXPECT_NE(event["request"]["name"], "removed");
}

TEST_F(Client, APasteboardThatThrowsWhenItIsReadIsEmptyAndOneThatCannotBeEmptiedIsUsed) {
  const auto throwing = std::make_shared<ThrowingPasteboard>();
  platform.pasteboard = throwing;
  Corvane::setPlatform(platform);
  EXPECT_FALSE(await(launch()->trackInstallAsync(false)).attributed());
  throwing->text = sandbox.click("summer").text;
  Corvane::resetForTesting();
  EXPECT_TRUE(await(launch()->trackInstallAsync(false)).attributed());
}

TEST_F(Client, LinksAndEventsAreRecordedWithTheirArguments) {
  const auto client = launch();
  EXPECT_TRUE(client->handleDeepLink(sandbox.baseURL() + "/summer?path=/x"));
  EXPECT_EQ(awaitCalls(1), Lines{"/offers/7"});
  EXPECT_EQ(client->lastDeepLink()->customData()->at("price"), "9.99");
  const auto unknown = await(client->handleDeepLinkAsync(sandbox.baseURL() + "/a%20b&c?path=/x y"));
  EXPECT_EQ(client->lastDeepLink(), unknown);
  EXPECT_FALSE(client->handleDeepLink("not a link"));

  client->trackEvent("purchase", 9.99, "eur");
  EXPECT_TRUE(await(client->trackEventAsync("purchase", 9.99, "eur")).id());
  const auto records = sandbox.awaitRecords([](const auto& now) { return now.at("events").size() == 2; });
  for (const auto& event : records["events"]) {
    EXPECT_EQ(event["request"]["name"], "purchase");
    EXPECT_EQ(event["request"]["value"], 9.99);
    EXPECT_EQ(event["request"]["currency"], "EUR");
  }
  EXPECT_EQ(records["opens"][1]["request"]["slug"], "a b&c");
}

TEST_F(Client, FailedEventsAreResentByTheNextConfigureGrantOrInstall) {
  const auto client = launch();
  const std::function<void()> occasions[] = {[&] { Corvane::configure("cv_test_1", options); },
                                             [&] { client->setConsent(true); },
                                             [&] { client->trackInstall(true); }};
  std::size_t events = 0;
  for (const auto& occasion : occasions) {
    sandbox.faults({{"path", "/v1/events"}, {"status", 503}, {"times", 3}});
    client->trackEvent("purchase", 1);
    EXPECT_EQ(awaitCalls(1), Lines{"Server returned status 503: "});
    occasion();
    ++events;
    sandbox.awaitRecords([&](const auto& now) { return now.at("events").size() == events; });
    calls.clear();
  }
}

}  // namespace
}  // namespace corvane::test
