#include "flows/InstallTracking.h"

#include "foundation/StoreKeys.h"
#include "model/ResultJSON.h"
#include "support/CapturedOutput.h"
#include "support/FlowFixture.h"

namespace corvane {
namespace {

using test::CapturedOutput;
using Task = CorvaneTask<CorvaneAttribution>;
using Lines = std::vector<std::string>;

const std::string clickToken = "0123456789abcdef0123456789abcdef";
constexpr const char* routableBody = R"({"id":7,"attributed":true,"deepLink":{"deepLinkPath":"/summer"}})";

struct FakePasteboard : PasteboardReading {
  std::optional<std::string> string() const override {
    ++reads;
    return text;
  }
  void clear() const override { text.reset(); }

  mutable std::optional<std::string> text;
  mutable int reads = 0;
};

struct Install : test::FlowFixture {
  void SetUp() override { makeClient(); }

  /// A client as the next launch finds it: fresh memory, the same store.
  void makeClient(CorvaneClickTokenSource source = CorvaneClickTokenSource::automatic) {
    logger.minimumLevel = CorvaneLogLevel::info;
    const auto stored = flags->dataForKey(keys::lastAttribution);
    core = std::make_shared<ClientCore>(
        MainThread(main), stored ? std::optional(decodeStoredAttribution(*stored)) : std::nullopt);
    core->onAttribution([this](const CorvaneAttribution& a) {
      delivered.push_back(std::string("verdict") + (a.attributed() ? " attributed" : " organic"));
    });
    core->onLink(
        [this](const CorvaneDeepLink& link, CorvaneLinkSource) { delivered.push_back(link.path()); });
    core->onError([this](const std::exception& error) { delivered.push_back(error.what()); });
    flow = std::make_shared<InstallTracking>(InstallTracking::Collaborators{
        parts(requireConsent), flags, ClickToken{source, flags, pasteboard, logger}, queue});
  }

  bool flag(std::string_view key) const { return flags->boolForKey(key); }
  std::vector<std::string> takeDelivered() { return std::exchange(delivered, {}); }

  std::shared_ptr<FakePasteboard> pasteboard = std::make_shared<FakePasteboard>();
  std::shared_ptr<InstallTracking> flow;
  bool requireConsent = false;
};

TEST_F(Install, IsReportedOnceWithItsTokenAndHandsOverTheVerdictAndTheLink) {
  pasteboard->text = "https://go.test/l/s?cv_click=" + clickToken + "&x=1";
  http->answer(200, routableBody);
  CapturedOutput output;
  const Task task = flow->trackInstallAsync(false);
  run();
  EXPECT_EQ(task.get().id(), 7);
  EXPECT_EQ(http->sent.at(0).url, "https://api.test/v1/events/install");
  EXPECT_EQ(http->sent[0].body,
            R"({"clickId":")" + clickToken +
                R"(","consent":true,"deviceId":"D","identifier":"app","platform":"iOS"})");
  EXPECT_EQ(http->sent[0].headers.back(), (URLRequest::Header{"Idempotency-Key", "install:D"}));
  EXPECT_EQ(takeDelivered(), (Lines{"verdict attributed", "/summer"}));
  EXPECT_EQ(pasteboard->text, std::nullopt);
  EXPECT_EQ(core->lastAttribution(), task.get());
  EXPECT_EQ(decodeStoredAttribution(*flags->dataForKey(keys::lastAttribution)), task.get());

  makeClient();
  const Task again = flow->trackInstallAsync(false);
  run();
  EXPECT_EQ(again.get(), task.get());
  EXPECT_EQ(http->sent.size(), 1U);
  EXPECT_EQ(takeDelivered(), Lines{"verdict attributed"});
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [INFO] Sending install event… (consent: true)",
                                   "[Corvane] [INFO] Install attributed (deterministic click token)",
                                   "[Corvane] [INFO] Install already tracked — skipping network call"}));
}

TEST_F(Install, ReadsConsentOnceARun) {
  requireConsent = true;
  setConsent(true);
  makeClient();
  flow->trackInstall(false);
  background->run();
  setConsent(false);
  http->answer(200, routableBody);
  run();
  EXPECT_TRUE(flag(keys::installTracked));
  EXPECT_EQ(takeDelivered(), (Lines{"verdict attributed", "/summer"}));
}

TEST_F(Install, ConcurrentCallersShareOneRunAndNoneOfThemStopsIt) {
  const Task first = flow->trackInstallAsync("cv_click=" + clickToken, false);
  const Task second = flow->trackInstallAsync(true);
  background->run();
  first.cancel();
  second.cancel();
  const Task third = flow->trackInstallAsync(false);
  background->run();
  http->answer(200, routableBody);
  run();
  EXPECT_EQ(http->sent.size(), 1U);
  EXPECT_NE(http->sent[0].body->find(clickToken), std::string::npos);
  EXPECT_EQ(first.get(), second.get());
  EXPECT_EQ(first.get(), third.get());
  EXPECT_EQ(first.get().id(), 7);
}

TEST_F(Install, AFailureReachesEveryCallerChangesNothingAndTheNextCallSendsAgain) {
  CapturedOutput output;
  const Task awaited = flow->trackInstallAsync(false);
  flow->trackInstall(false);
  background->run();
  http->answer(500, "oops\n");
  run();
  EXPECT_THROW(awaited.get(), CorvaneError);
  EXPECT_EQ(takeDelivered(), Lines{"Server returned status 500: oops\n"});
  EXPECT_FALSE(flag(keys::installTracked));
  EXPECT_EQ(core->lastAttribution(), std::nullopt);
  http->answer(200, routableBody);
  flow->trackInstall(false);
  run();
  EXPECT_TRUE(flag(keys::installTracked));
  EXPECT_EQ(output.lines().at(1),
            "[Corvane] [ERROR] Install tracking failed: Server returned status 500: oops\\n");
}

TEST_F(Install, TakesATokenByTheSourceOnly) {
  pasteboard->text = "cv_click=" + clickToken;
  makeClient(CorvaneClickTokenSource::pasteButton);
  http->answer(200, R"({"attributed":false})");
  flow->trackInstall(true);
  run();
  EXPECT_EQ(pasteboard->reads, 0);
  http->answer(200, R"({"attributed":false})");
  flow->trackInstall("pasted cv_click=" + clickToken, true);
  run();
  EXPECT_EQ(pasteboard->text, std::nullopt);

  pasteboard->text = "cv_click=" + clickToken;
  makeClient(CorvaneClickTokenSource::none);
  CapturedOutput output;
  http->answer(200, R"({"attributed":false})");
  flow->trackInstall("cv_click=" + clickToken, true);
  run();
  EXPECT_TRUE(pasteboard->text);
  EXPECT_EQ(
      output.lines().front(),
      "[Corvane] [INFO] clickTokenSource is .none — ignoring the pasted token; install stays probabilistic");
  const std::vector<bool> expected{false, true, false};
  for (std::size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(http->sent.at(i).body->find("clickId") != std::string::npos, expected[i]);
}

TEST_F(Install, ThatIsForcedIsSentAgainWithTheSameKeyAndAnEqualVerdictIsNotHandedOverTwice) {
  http->answer(200, routableBody);
  flow->trackInstall(false);
  run();
  EXPECT_EQ(takeDelivered(), (Lines{"verdict attributed", "/summer"}));
  pasteboard->text = "cv_click=" + clickToken;
  http->answer(200, routableBody);
  flow->trackInstall(true);
  run();
  EXPECT_EQ(http->sent.size(), 2U);
  EXPECT_EQ(http->sent[0].headers, http->sent[1].headers);
  EXPECT_EQ(takeDelivered(), Lines());
  EXPECT_EQ(pasteboard->reads, 1) << "once a link was routed, the pasteboard is the user's";
}

TEST_F(Install, AMainThreadThatDropsOrThrowsCompletesTheRunAllTheSame) {
  core->onAttribution([](const CorvaneAttribution&) { throw std::runtime_error("host"); });
  for (const bool dropping : {true, false}) {
    main->dropping = dropping;
    http->answer(200, routableBody);
    const Task task = flow->trackInstallAsync(true);
    background->run();
    if (!dropping) {
      EXPECT_THROW(main->run(), std::runtime_error);
    }
    background->run();
    ASSERT_TRUE(task.isDone());
    EXPECT_EQ(task.get().id(), 7);
  }
}

TEST_F(Install, AClientThatGoesBeforeItsWorkBeginsSendsNothing) {
  flow->trackInstall(false);
  const Task task = flow->trackInstallAsync(false);
  flow.reset();
  core.reset();
  run();
  EXPECT_THROW(task.get(), CorvaneCancellationError);
  EXPECT_TRUE(http->sent.empty());
}

TEST(ClickToken, IsTheFirstWholeTokenInTheText) {
  const std::string other(32, 'f');
  EXPECT_EQ(findClickToken("see cv_click=" + clickToken + "&q=1"), clickToken);
  EXPECT_EQ(findClickToken("cv_click=" + clickToken + "0"), clickToken);
  EXPECT_EQ(findClickToken("cv_click=cv_click=" + other + " cv_click=" + clickToken), other);
  for (const std::string& text :
       {std::string(), std::string("cv_click="), "cv_click=" + clickToken.substr(1),
        "cv_click=" + std::string(32, 'A'), "CV_CLICK=" + clickToken, "cv_click =" + clickToken})
    EXPECT_EQ(findClickToken(text), std::nullopt) << text;
}

TEST(ClickToken, IsFoundInAHugeText) {
  std::string text;
  while (text.size() < 10'000'000) text += "cv_click=0123456789abcdef0123456789abcdeg";
  EXPECT_EQ(findClickToken(text), std::nullopt);
  EXPECT_EQ(findClickToken(text + "cv_click=" + clickToken), clickToken);
}

}  // namespace
}  // namespace corvane
