#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "client/Application.h"
#include "support/CapturedOutput.h"
#include "support/DetachedCoroutine.h"

namespace corvane {
namespace {

using nlohmann::json;
using test::Application;
using test::ApplicationWithBackend;
using test::CapturedOutput;
using test::DetachedCoroutine;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

struct ThrowingPasteboard : CorvanePasteboard {
  std::optional<std::string> string() override { throw std::runtime_error("no display"); }
  void clear() override { throw std::runtime_error("no display"); }
};

TEST_F(ApplicationWithBackend, TheFirstLaunchIsAttributedByItsClickAndTheSecondSendsNothing) {
  options.autoTrackInstall = true;
  pasteboard->text = sandbox.click("summer").text;
  auto client = launch();
  EXPECT_EQ(awaitCalls(2), (Lines{"attributed", "/offers/7"}));
  EXPECT_EQ(client->lastAttribution()->deepLink()->customData()->at("price"), "9.99");
  EXPECT_EQ(pasteboard->text, std::nullopt);

  client = launch();
  EXPECT_EQ(awaitCalls(1), Lines{"attributed"});
  EXPECT_EQ(client->trackInstallAsync(false).get(), *client->lastAttribution());
  const json installs = sandbox.records()["installs"];
  ASSERT_EQ(installs.size(), 1U);
  EXPECT_EQ(stored()->stringForKey("io.corvane.device_id").value().size(), 36U);
}

TEST_F(ApplicationWithBackend, WithoutConsentTheLinkIsRoutedAndTheInstallCountedOnceItIsGiven) {
  options.autoTrackInstall = true;
  options.requireConsent = true;
  pasteboard->text = sandbox.click("summer").text;
  auto client = launch();
  EXPECT_EQ(awaitCalls(2), (Lines{"organic", "/offers/7"}));
  EXPECT_TRUE(sandbox.records()["installs"].empty());
  client->setConsent(true);
  EXPECT_EQ(awaitCalls(1), Lines{"attributed"});
  EXPECT_EQ(sandbox.records()["installs"].size(), 1U);
}

TEST_F(ApplicationWithBackend, AFailureThatPassesIsTriedAgainAndOneThatStaysIsReported) {
  sandbox.faults({{"path", "/v1/events/install"}, {"status", 503}, {"times", 2}});
  auto client = launch();
  EXPECT_FALSE(client->trackInstallAsync(false).get().attributed());
  awaitCalls(1);

  client = Corvane::configure("wrong_key", options);
  EXPECT_THROW(client->trackInstallAsync(true).get(), CorvaneError);
  client->onError([this](const std::exception& error) { note(error.what()); });
  client->trackInstall(true);
  EXPECT_EQ(awaitCalls(1), Lines{CorvaneError::invalidAPIKey().what()});
}

TEST_F(ApplicationWithBackend, AResultCanBeAwaitedByACoroutineOnTheMainThread) {
  const auto client = launch();
  const auto program = [](std::shared_ptr<Corvane> corvane,
                          ApplicationWithBackend* application) -> DetachedCoroutine {
    const CorvaneTask<CorvaneAttribution> install = corvane->trackInstallAsync(false);
    const CorvaneAttribution verdict = co_await install;
    EXPECT_TRUE(application->queue->isCurrentThread());
    application->note(verdict.id() ? "done" : "no id");
  };
  program(client, this);
  EXPECT_EQ(awaitCalls(2), (Lines{"organic", "done"}));
}

TEST_F(Application, AKeyIsTakenWithoutTheBlanksAroundItAndAnEmptyOneIsRefused) {
  const auto first = Corvane::configure(" cv_1\n", options);
  EXPECT_EQ(Corvane::shared(), first);
  CapturedOutput output;
  for (const char* key : {"", " \n", "\xE2\x80\xA8\xC2\xA0"})
    EXPECT_THROW(Corvane::configure(key), CorvaneError) << key;
  EXPECT_THROW(Corvane::configure(std::getenv("CORVANE_TEST_NO_SUCH_VARIABLE")), CorvaneError);
  EXPECT_EQ(Corvane::shared(), first);
  EXPECT_EQ(output.lines(), Lines());
}

TEST_F(Application, ConfigureSaysWhereItSendsToWhenLoggingAdmitsIt) {
  test::setBaseURL("http://127.0.0.1:1");
  CapturedOutput output;
  const auto client = Corvane::configure("cv_1", options);
  const auto warned = Corvane::configure(
      "cv_1", {.logEnabled = true, .logLevel = CorvaneLogLevel::warning, .autoTrackInstall = false});
  Corvane::configure("cv_1", {.autoTrackInstall = false});
  EXPECT_EQ(output.lines(), Lines{"[Corvane] [INFO] Configured — base URL: http://127.0.0.1:1"});
  EXPECT_EQ(warned->options().logLevel, CorvaneLogLevel::warning);
}

TEST_F(Application, ConsentIsRememberedAndADenialDropsWhatWaits) {
  const auto client = Corvane::configure("cv_1", options);
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
}

TEST_F(Application, AResetMakesTheNextClientAFreshInstallationAndLeavesThisOneAlone) {
  stored()->setData(R"({"attributed":true,"id":5})", "io.corvane.last_attribution");
  stored()->setBool(true, "io.corvane.install_tracked");
  const auto client = Corvane::configure("cv_1", options);
  const auto deviceId = stored()->stringForKey("io.corvane.device_id");
  CapturedOutput output;
  Corvane::resetForTesting();
  EXPECT_EQ(output.lines(),
            Lines{"[Corvane] Reset for testing — next launch will send a fresh install event"});
  EXPECT_EQ(client->lastAttribution()->id(), 5);
  for (const char* key : {"install_tracked", "deferred_routed", "consent_set", "consent_granted"})
    EXPECT_FALSE(stored()->boolForKey(std::string("io.corvane.") + key));
  EXPECT_EQ(stored()->dataForKey("io.corvane.last_attribution"), std::nullopt);
  const auto next = Corvane::configure("cv_1", options);
  EXPECT_EQ(next->lastAttribution(), std::nullopt);
  EXPECT_NE(stored()->stringForKey("io.corvane.device_id"), deviceId);
}

TEST_F(Application, ABackendThatIsDownFailsTheInstallAndAPasteboardThatThrowsIsAnEmptyOne) {
  test::setBaseURL("http://127.0.0.1:1");
  platform.pasteboard = std::make_shared<ThrowingPasteboard>();
  Corvane::setPlatform(platform);
  const auto client = launch();
  client->trackInstall(false);
  const Lines delivered = awaitCalls(1);
  EXPECT_EQ(delivered.at(0).find("Network error: "), 0U) << delivered.at(0);
}

TEST_F(Application, APlaceThatCannotBeWrittenIsSaidOnceAndCostsNothingElse) {
  std::ofstream(folder.path() / "file") << "in the way";
  platform.preferencesFile = folder.path() / "file" / "preferences.sqlite";
  Corvane::setPlatform(platform);
  CapturedOutput output;
  const auto client = Corvane::configure("cv_1", options);
  client->setConsent(false);
  client->setConsent(true);
  const Lines lines = output.lines();
  EXPECT_EQ(std::ranges::count_if(lines, [](const auto& line) { return line.find("[WARN]") != line.npos; }),
            1);
  EXPECT_TRUE(stored()->boolForKey("io.corvane.consent_granted"));
}

TEST_F(ApplicationWithBackend, AResetReachesTheEventsThatLiveInMemoryOnly) {
  platform.preferencesFile = "/proc/no such place/preferences.sqlite";
  Corvane::setPlatform(platform);
  auto client = launch();
  sandbox.faults({{"path", "/v1/events"}, {"status", 503}, {"times", 3}});
  client->trackEvent("before");
  awaitCalls(1);
  Corvane::resetForTesting();
  client = launch();
  client->trackEventAsync("after").get();
  client->trackEventAsync("last").get();
  const json records = sandbox.records();
  for (const json& event : records["events"]) EXPECT_NE(event["request"]["name"], "before");
}

TEST_F(Application, WithoutProvidersThePlatformsServicesAnswerNoAndSaySo) {
  CapturedOutput output;
  const auto client = launch();
  EXPECT_FALSE(client->requestTrackingAuthorizationAsync().get());
  client->requestTrackingAuthorization([this](bool granted) { note(granted ? "granted" : "refused"); });
  EXPECT_EQ(awaitCalls(1), Lines{"refused"});
  client->registerForSKAdAttribution();
  client->updateConversionValue(5);
  const auto lines = output.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "[Corvane] [INFO] ATT: not authorized"), 2);
  EXPECT_EQ(lines.back(), "[Corvane] [ERROR] SKAdNetwork: This system has no ad network.");
}

}  // namespace
}  // namespace corvane
