#include "flows/InstallTracking.h"

#include "foundation/StoreKeys.h"
#include "model/ResultJSON.h"
#include "support/CapturedOutput.h"
#include "support/FlowFixture.h"

namespace corvane::test {
namespace {

using Task = CorvaneTask<CorvaneAttribution>;
using Lines = std::vector<std::string>;

const std::string clickToken = "0123456789abcdef0123456789abcdef";
const std::string pasteboardText = "https://go.test/l/s?cv_click=" + clickToken + "&x=1";
constexpr const char* routableBody = R"({"id":7,"attributed":true,"deepLink":{"deepLinkPath":"/summer"}})";
const Lines attributedAndLink{"attributed", "deferred /summer"};

struct FakePasteboard : PasteboardReading {
  std::optional<std::string> string() const override {
    ++reads;
    return text;
  }
  void clear() const override { text.reset(); }

  mutable std::optional<std::string> text;
  mutable int reads = 0;
};

struct InstallTracking : FlowFixture {
  void SetUp() override { launch(); }

  /// A client as the next launch makes it: fresh memory, the same store.
  void launch(CorvaneClickTokenSource source = CorvaneClickTokenSource::automatic) {
    logger.minimumLevel = CorvaneLogLevel::info;
    const auto stored = flags->dataForKey(keys::lastAttribution);
    core = std::make_shared<ClientCore>(
        MainThread(main), stored ? std::optional(decodeStoredAttribution(*stored)) : std::nullopt);
    core->onAttribution([this](const CorvaneAttribution& a) {
      // Persisted first, so that a result that the host has seen survives a crash.
      EXPECT_TRUE(flags->dataForKey(keys::lastAttribution));
      delivered.push_back(a.attributed() ? "attributed" : "organic");
    });
    noteDeliveries();
    flow = std::make_shared<corvane::InstallTracking>(corvane::InstallTracking::Collaborators{
        parts(requireConsent), flags, ClickToken{source, flags, pasteboard, logger}, queue});
  }

  void track(bool force = false) {
    http->respond(200, routableBody);
    flow->trackInstall(force);
    run();
  }
  bool flag(std::string_view key) const { return flags->boolForKey(key); }
  Lines takeDelivered() { return std::exchange(delivered, {}); }

  std::shared_ptr<FakePasteboard> pasteboard = std::make_shared<FakePasteboard>();
  std::shared_ptr<corvane::InstallTracking> flow;
  bool requireConsent = false;
};

TEST_F(InstallTracking, SendsOnceAndLaterLaunchesDeliverTheStoredResult) {
  pasteboard->text = pasteboardText;
  http->respond(200, routableBody);
  CapturedOutput output;
  const Task task = flow->trackInstallAsync(false);
  run();
  EXPECT_EQ(task.get().id(), 7);
  EXPECT_EQ(http->sent.at(0).url, "https://api.test/v1/events/install");
  EXPECT_EQ(http->sent[0].body,
            R"({"clickId":")" + clickToken +
                R"(","consent":true,"deviceId":"D","identifier":"app","platform":"iOS"})");
  EXPECT_EQ(sentKeys(), Lines{"install:D"});
  EXPECT_EQ(takeDelivered(), attributedAndLink);
  EXPECT_EQ(pasteboard->text, std::nullopt);
  EXPECT_EQ(core->lastAttribution(), task.get());

  launch();
  const Task again = flow->trackInstallAsync(false);
  run();
  EXPECT_EQ(again.get(), task.get());
  EXPECT_EQ(http->sent.size(), 1U);
  EXPECT_EQ(takeDelivered(), Lines{"attributed"});
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [INFO] Sending install event… (consent: true)",
                                   "[Corvane] [INFO] Install attributed (deterministic click token)",
                                   "[Corvane] [INFO] Install already tracked — skipping network call"}));
}

TEST_F(InstallTracking, CountsAndRoutesByConsentAndLink) {
  const Lines attributed{"attributed"}, organic{"organic"}, organicAndLink{"organic", "deferred /summer"};
  const char* const notCounted = "Install not counted (no consent) — no deferred link to route";
  const struct {
    bool consent;
    bool routedBefore;
    const char* path;
    bool routedAfter;
    Lines delivered;
    const char* line;
  } table[] = {
      {true, true, "/summer", true, attributed, "Install attributed"},
      {true, false, "/summer", true, attributedAndLink, "Install attributed"},
      {true, false, "/", false, attributed, "Install attributed"},
      {false, true, "/summer", true, organic, notCounted},
      {false, false, "/summer", true, organicAndLink,
       "Install not counted (no consent) — routing the deferred link only"},
      {false, false, "/", false, organic, notCounted},
  };
  requireConsent = true;
  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << row.consent << row.routedBefore << row.path);
    flags->removeValue(keys::lastAttribution);
    flags->removeValue(keys::installTracked);
    flags->setBool(row.routedBefore, keys::deferredRouted);
    launch();
    setConsent(row.consent);
    CapturedOutput output;
    http->respond(
        200, R"({"id":7,"attributed":true,"deepLink":{"deepLinkPath":")" + std::string(row.path) + "\"}}");
    const Task task = flow->trackInstallAsync(true);
    run();
    const std::string consent = row.consent ? "true" : "false";
    EXPECT_NE(http->sent.back().body->find("\"consent\":" + consent), std::string::npos);
    EXPECT_EQ(task.get().attributed(), row.consent);
    EXPECT_EQ(task.get().deepLink()->path(), row.path);
    EXPECT_EQ(flag(keys::installTracked), row.consent);
    EXPECT_EQ(flag(keys::deferredRouted), row.routedAfter);
    EXPECT_EQ(takeDelivered(), row.delivered);
    EXPECT_EQ(output.lines(), (Lines{"[Corvane] [INFO] Sending install event… (consent: " + consent + ")",
                                     std::string("[Corvane] [INFO] ") + row.line}));
  }
}

TEST_F(InstallTracking, WithoutConsentAndWithTheLinkRoutedOnlyAForcedCallSends) {
  requireConsent = true;
  launch();
  track();
  const auto known = core->lastAttribution();
  CapturedOutput output;
  const Task skipped = flow->trackInstallAsync(false);
  run();
  EXPECT_EQ(http->sent.size(), 1U);
  EXPECT_EQ(skipped.get(), known);
  EXPECT_EQ(output.lines(),
            Lines{"[Corvane] [INFO] Deferred link already routed — holding for consent before counting"});
  track(true);
  EXPECT_EQ(http->sent.size(), 2U);
  EXPECT_EQ(takeDelivered(), (Lines{"organic", "deferred /summer"}));
}

TEST_F(InstallTracking, ReadsConsentOnceARun) {
  requireConsent = true;
  setConsent(true);
  launch();
  flow->trackInstall(false);
  background->run();
  setConsent(false);
  http->respond(200, routableBody);
  run();
  EXPECT_TRUE(flag(keys::installTracked));
  EXPECT_EQ(takeDelivered(), attributedAndLink);
}

TEST_F(InstallTracking, ConcurrentCallersShareOneRunAndNoneOfThemStopsIt) {
  const Task first = flow->trackInstallAsync("cv_click=" + clickToken, false);
  const Task second = flow->trackInstallAsync(true);
  background->run();
  first.cancel();
  second.cancel();
  const Task third = flow->trackInstallAsync(false);
  background->run();
  http->respond(200, routableBody);
  run();
  EXPECT_EQ(http->sent.size(), 1U);
  EXPECT_NE(http->sent[0].body->find(clickToken), std::string::npos);
  EXPECT_EQ(first.get(), second.get());
  EXPECT_EQ(first.get(), third.get());
  EXPECT_EQ(first.get().id(), 7);
}

TEST_F(InstallTracking, AFailureReachesEveryCallerChangesNothingAndTheNextCallSendsAgain) {
  CapturedOutput output;
  const Task awaited = flow->trackInstallAsync(false);
  flow->trackInstall(false);
  background->run();
  http->respond(500, "oops\n");
  run();
  EXPECT_THROW(awaited.get(), CorvaneError);
  EXPECT_EQ(takeDelivered(), Lines{"Server returned status 500: oops\n"});
  EXPECT_FALSE(flag(keys::installTracked));
  EXPECT_EQ(core->lastAttribution(), std::nullopt);
  track();
  EXPECT_TRUE(flag(keys::installTracked));
  EXPECT_EQ(output.lines().at(1),
            "[Corvane] [ERROR] Install tracking failed: Server returned status 500: oops\\n");
}

TEST_F(InstallTracking, TakesAClickTokenByItsSourceOnlyAndEmptiesThePasteboardOnlyOfAToken) {
  const struct {
    CorvaneClickTokenSource source;
    std::optional<std::string> handedIn;
    std::string pasteboard;
    bool sent, emptied;
  } table[] = {
      {CorvaneClickTokenSource::automatic, {}, pasteboardText, true, true},
      {CorvaneClickTokenSource::automatic, {}, "cv_click=no token", false, false},
      {CorvaneClickTokenSource::automatic, "no token", pasteboardText, false, false},
      {CorvaneClickTokenSource::pasteButton, {}, pasteboardText, false, false},
      {CorvaneClickTokenSource::pasteButton, "pasted " + pasteboardText, pasteboardText, true, true},
      {CorvaneClickTokenSource::none, {}, pasteboardText, false, false},
      {CorvaneClickTokenSource::none, pasteboardText, pasteboardText, false, false},
  };
  CapturedOutput output;
  for (const auto& row : table) {
    pasteboard->text = row.pasteboard;
    launch(row.source);
    http->respond(200, R"({"attributed":false})");
    row.handedIn ? flow->trackInstall(*row.handedIn, true) : flow->trackInstall(true);
    run();
    SCOPED_TRACE(&row - table);
    EXPECT_EQ(http->sent.back().body->find("clickId") != std::string::npos, row.sent);
    EXPECT_EQ(!pasteboard->text, row.emptied);
  }
  EXPECT_EQ(pasteboard->reads, 2);
  const Lines lines = output.lines();
  EXPECT_EQ(lines.at(lines.size() - 3),
            "[Corvane] [INFO] clickTokenSource is .none — ignoring the pasted token; install stays "
            "probabilistic");
}

TEST_F(InstallTracking, AForcedCallSendsAgainUnderTheSameKeyAndDoesNotDeliverAnEqualResultTwice) {
  track();
  EXPECT_EQ(takeDelivered(), attributedAndLink);
  pasteboard->text = pasteboardText;
  track(true);
  EXPECT_EQ(http->sent.size(), 2U);
  EXPECT_EQ(http->sent[0].headers, http->sent[1].headers);
  EXPECT_EQ(takeDelivered(), Lines());
  EXPECT_EQ(pasteboard->reads, 1) << "the pasteboard is not read once a link was routed";
}

TEST_F(InstallTracking, ALinkThatTheMainExecutorRefusesIsParkedForTheNextLinkCallback) {
  main->dropping = true;
  http->respond(200, routableBody);
  const Task task = flow->trackInstallAsync(false);
  background->run();
  EXPECT_EQ(task.get().id(), 7);
  main->dropping = false;
  noteDeliveries();
  main->run();
  EXPECT_EQ(takeDelivered(), Lines{"deferred /summer"});
}

TEST_F(InstallTracking, ACallbackThatThrowsDoesNotKeepTheRunFromCompleting) {
  core->onAttribution([](const CorvaneAttribution&) { throw std::runtime_error("host"); });
  http->respond(200, routableBody);
  const Task task = flow->trackInstallAsync(true);
  background->run();
  EXPECT_THROW(main->run(), std::runtime_error);
  background->run();
  ASSERT_TRUE(task.isDone());
  EXPECT_EQ(task.get().id(), 7);
}

TEST_F(InstallTracking, AClientThatIsDestroyedBeforeItsWorkBeginsSendsNothing) {
  flow->trackInstall(false);
  const Task task = flow->trackInstallAsync(false);
  flow.reset();
  core.reset();
  run();
  EXPECT_THROW(task.get(), CorvaneCancellationError);
  EXPECT_TRUE(http->sent.empty());
}

TEST_F(InstallTracking, AnInstallInFlightOutlivesItsClient) {
  const Task task = flow->trackInstallAsync(false);
  background->run();
  flow.reset();
  core.reset();
  http->respond(200, routableBody);
  run();
  EXPECT_EQ(task.get().id(), 7);
  EXPECT_TRUE(flag(keys::installTracked));
}

TEST(ClickToken, IsTheFirstWholeTokenInTheText) {
  const std::string other(32, 'f');
  EXPECT_EQ(findClickToken("cv_click=" + clickToken + "0"), clickToken);
  EXPECT_EQ(findClickToken("cv_click=cv_click=" + other + " cv_click=" + clickToken), other);
  for (const std::string& text :
       {std::string(), std::string("cv_click="), "cv_click=" + clickToken.substr(1),
        "cv_click=" + std::string(32, 'A'), "CV_CLICK=" + clickToken, "cv_click =" + clickToken})
    EXPECT_EQ(findClickToken(text), std::nullopt) << text;
}

}  // namespace
}  // namespace corvane::test
