#include <algorithm>

#include "client/Application.h"
#include "support/CapturedOutput.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

struct AuthorizedTracking : CorvaneTrackingAuthorizationProvider {
  CorvaneTrackingAuthorizationStatus trackingAuthorizationStatus() override {
    return CorvaneTrackingAuthorizationStatus::authorized;
  }
  void requestTrackingAuthorization(Completion) override {}
};

struct AdNetwork : CorvaneAdNetworkProvider {
  void registerAppForAdNetworkAttribution() override {}
  void updatePostbackConversionValue(std::int64_t value, Completion) override {
    calls.push_back(std::to_string(value));
  }
  void updatePostbackConversionValue(std::int64_t value, CorvaneCoarseConversionValue coarse,
                                     Completion) override {
    calls.push_back(std::to_string(value) + " " + std::string(coarse.rawValue()));
  }
  Lines calls;
};

/// What `configure` makes of each option and each member of the platform.
using Configuration = Application;

TEST_F(Configuration, TheOptionsReachTheRequests) {
  options.logLevel = CorvaneLogLevel::debug;
  options.linkDomains = {"127.0.0.1"};
  options.retryPolicy = CorvaneRetryPolicy(5, 0, 8);
  options.clickTokenSource = CorvaneClickTokenSource::none;
  pasteboard->text = sandbox.click("summer").text;
  sandbox.faults({{"path", "/v1/events/install"}, {"status", 503}, {"times", 4}});
  CapturedOutput output;
  const auto client = launch();
  await(client->trackInstallAsync(false));
  EXPECT_TRUE(pasteboard->text);
  EXPECT_EQ(std::ranges::count(output.lines(), "[Corvane] [DEBUG] POST /v1/events/install"), 1);
  EXPECT_FALSE(client->handleDeepLink("https://other.example/summer"));
  EXPECT_THROW(await(client->handleDeepLinkAsync("https://other.example/summer")), CorvaneError);
  EXPECT_EQ(await(client->handleDeepLinkAsync(sandbox.baseURL() + "/summer")).path(), "/offers/7");
  const auto used = client->options();
  EXPECT_EQ(used.logLevel, CorvaneLogLevel::debug);
  EXPECT_EQ(used.linkDomains, options.linkDomains);
  EXPECT_EQ(used.retryPolicy, options.retryPolicy);

  options.requireConsent = true;
  EXPECT_EQ(await(launch()->trackEventAsync("dropped")).id(), std::nullopt);
  const auto records = sandbox.records();
  EXPECT_EQ(records["arrivals"].size(), 6U);
  EXPECT_NE(records["arrivals"][0]["headers"].dump().find("cv_test_1"), std::string::npos);
}

TEST_F(Configuration, AnExchangeWithoutANetworkWaitsForOneUntilTheTimeout) {
  // The kernel refuses every TCP connection to a multicast address as "network unreachable".
  setBaseURL("http://224.0.0.1");
  options.requestTimeout = 0.3;
  options.retryPolicy = CorvaneRetryPolicy::disabled;
  const auto client = launch();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THROW(await(client->trackInstallAsync(false)), CorvaneError);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(Configuration, ThePlatformIsUsed) {
  const auto network = std::make_shared<AdNetwork>();
  platform.adNetwork = network;
  platform.trackingAuthorization = std::make_shared<AuthorizedTracking>();
  for (const int major : {16, 17}) {
    platform.operatingSystemVersion = {major, 0};
    Corvane::setPlatform(platform);
    const auto client = launch();
    client->registerForSKAdAttribution();
    client->updateConversionValue(5, CorvaneCoarseConversionValue::high);
    EXPECT_TRUE(await(client->requestTrackingAuthorizationAsync()));
    client->requestTrackingAuthorization([this](bool granted) { note(granted ? "granted" : "refused"); });
    EXPECT_EQ(awaitCalls(1), Lines{"granted"});
  }
  EXPECT_EQ(network->calls, (Lines{"0", "5", "5 high"}));

  await(launch()->trackInstallAsync(false));
  const auto request = sandbox.records()["installs"][0]["request"];
  EXPECT_EQ(request["identifier"], "com.example.shop");
  EXPECT_EQ(request["deviceId"], stored()->stringForKey("io.corvane.device_id").value());
}

TEST_F(Configuration, TheProxyAndTheAuthoritiesOfThePlatformAreUsed) {
  setBaseURL("https" + sandbox.baseURL().substr(4));
  platform.certificateAuthorityFile = folder.path() / "none.pem";
  for (const std::string text : {"none.pem", "the proxy is not a URL"}) {
    Corvane::setPlatform(platform);
    launch()->trackInstall(false);
    const std::string error = awaitCalls(1).at(0);
    EXPECT_NE(error.find(text), std::string::npos) << error;
    platform.proxy = "proxy.example:3128";
  }
}

TEST_F(Configuration, TheClientOwnsItsMainExecutor) {
  const auto client = launch();
  const std::weak_ptr<CorvaneMainQueue> owned = queue;
  platform.mainExecutor.reset();
  queue.reset();
  Corvane::setPlatform({});
  EXPECT_FALSE(owned.expired());
}

TEST_F(Configuration, TheKeyIsTrimmedAndAnEmptyOneIsRejected) {
  CapturedOutput output;
  Corvane::configure("cv_1", {.autoTrackInstall = false});
  const auto first = Corvane::configure(" cv_test_1\n", options);
  for (const char* key : {"", " \n", "\xE2\x80\xA8\xC2\xA0"})
    EXPECT_THROW(Corvane::configure(key), CorvaneError) << key;
  EXPECT_THROW(Corvane::configure(std::getenv("CORVANE_TEST_NO_SUCH_VARIABLE")), CorvaneError);
  EXPECT_EQ(Corvane::shared(), first);
  EXPECT_EQ(output.lines(), Lines{"[Corvane] [INFO] Configured — base URL: " + sandbox.baseURL()});
  await(first->trackInstallAsync(false));
}

TEST_F(Configuration, TheLibrarysOwnQueueBelongsToTheThreadThatConfigures) {
  platform.mainExecutor = nullptr;
  Corvane::setPlatform(platform);
  const auto client = launch();
  EXPECT_TRUE(CorvaneMainQueue::main()->isCurrentThread());
}

TEST_F(Configuration, DoesNotRestoreAStoredAttributionThatIsUnreadable) {
  for (const char* unreadable : {"", "{", "\xFF", R"({"attributed":1})"}) {
    stored()->setData(unreadable, "io.corvane.last_attribution");
    EXPECT_EQ(launch()->lastAttribution(), std::nullopt) << unreadable;
  }
}

}  // namespace
}  // namespace corvane::test
