#include "flows/DeepLinkHandling.h"

#include "support/CapturedOutput.h"
#include "support/FlowFixture.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* linkText = "https://Go.example/s%26x=1/more?path=/sale";

struct DeepLinkHandling : FlowFixture {
  std::shared_ptr<corvane::DeepLinkHandling> makeFlow(bool requireConsent = false) const {
    return std::make_shared<corvane::DeepLinkHandling>(
        corvane::DeepLinkHandling::Collaborators{parts(requireConsent), {"go.example"}});
  }
};

TEST_F(DeepLinkHandling, RecordsAnOpenAndDeliversTheLinkOfTheResponse) {
  const auto flow = makeFlow();
  http->respond(200, R"({"attributed":true,"deepLink":{"slug":"s","deepLinkPath":"/p","campaign":"c"}})");
  CapturedOutput output;
  const auto task = flow->handleDeepLinkAsync(linkText);
  run();
  EXPECT_EQ(task.get().campaign(), "c");
  EXPECT_EQ(core->lastDeepLink(), task.get());
  EXPECT_EQ(delivered, (Lines{"reengagement /p"}));
  ASSERT_EQ(http->sent.size(), 1U);
  EXPECT_EQ(http->sent[0].url, "https://api.test/v1/events/open");
  EXPECT_EQ(http->sent[0].body,
            R"({"deviceId":"D","host":"Go.example","identifier":"app","platform":"iOS","slug":"s&x=1"})");
  EXPECT_EQ(output.lines(), (Lines{std::string("[Corvane] [DEBUG] Handling deep link: ") + linkText,
                                   "[Corvane] [DEBUG] Deep link resolved → path: /p"}));

  // The same link again is another open.
  http->respond(200, R"({"attributed":true})");
  EXPECT_TRUE(flow->handleDeepLink(linkText));
  run();
  EXPECT_NE(sentKeys()[0], sentKeys()[1]);
  EXPECT_EQ(sentKeys()[0].size(), 36U);
  EXPECT_EQ(delivered.back(), "reengagement /sale");
}

TEST_F(DeepLinkHandling, WithoutConsentALinkIsResolvedAndNotRecorded) {
  const auto flow = makeFlow(true);
  http->respond(200, R"({"deepLinkPath":"/p"})");
  http->respond(404, "");
  CapturedOutput output;
  EXPECT_TRUE(flow->handleDeepLink(linkText));
  run();
  setConsent(false);
  EXPECT_TRUE(flow->handleDeepLink(linkText));
  run();
  for (const auto& request : http->sent) {
    EXPECT_EQ(request.url, "https://api.test/v1/links/resolve?host=Go.example&slug=s%26x%3D1");
    EXPECT_TRUE(request.headers.empty());
  }
  EXPECT_EQ(delivered, (Lines{"reengagement /p", "reengagement /sale"}));
  EXPECT_EQ(output.lines(),
            (Lines{std::string("[Corvane] [DEBUG] Handling deep link: ") + linkText,
                   "[Corvane] [DEBUG] Re-engagement resolved route-only — consent not granted (not recorded)",
                   "[Corvane] [DEBUG] Deep link resolved → path: /p",
                   std::string("[Corvane] [DEBUG] Handling deep link: ") + linkText,
                   "[Corvane] [DEBUG] Re-engagement resolve failed (no consent) — routing by URL only: "
                   "Server returned status 404: ",
                   "[Corvane] [DEBUG] Deep link resolved → path: /sale"}));
}

TEST_F(DeepLinkHandling, WhenTheBackendFailsTheErrorAndThenALinkFromTheURLAreDelivered) {
  const auto flow = makeFlow();
  http->respond(CorvaneError::transport("down"));
  CapturedOutput output;
  const auto task = flow->handleDeepLinkAsync(linkText);
  run();
  EXPECT_EQ(task.get(), CorvaneDeepLink("s&x=1", linkText, "/sale", {}, {}, {}, {}, {}, {}, {}));
  ASSERT_EQ(delivered.size(), 2U);
  EXPECT_EQ(delivered[0], CorvaneError::transport("down").errorDescription());
  EXPECT_EQ(delivered[1], "reengagement /sale");
  EXPECT_EQ(
      output.lines().at(1),
      "[Corvane] [WARN] Deep-link open failed — delivering a URL-only link (campaign/customData will be "
      "empty): " +
          delivered[0]);
}

TEST_F(DeepLinkHandling, IgnoresALinkOfAnotherDomain) {
  const auto flow = makeFlow();
  CapturedOutput output;
  EXPECT_FALSE(flow->handleDeepLink("https://other.example/a b"));
  EXPECT_FALSE(flow->handleDeepLink("shop:abc"));
  EXPECT_FALSE(flow->handleDeepLink("no\nURL"));
  const auto task = flow->handleDeepLinkAsync("https://other.example/s");
  EXPECT_TRUE(task.isDone());
  EXPECT_THROW(
      try { task.get(); } catch (const CorvaneError& error) {
        EXPECT_EQ(error, CorvaneError::notACorvaneURL());
        throw;
      },
      CorvaneError);
  run();
  EXPECT_TRUE(http->sent.empty());
  EXPECT_TRUE(delivered.empty());
  EXPECT_EQ(output.lines(),
            (Lines{"[Corvane] [DEBUG] Not a Corvane link — ignoring: https://other.example/a%20b",
                   "[Corvane] [DEBUG] Not a Corvane link — ignoring: shop:abc",
                   "[Corvane] [DEBUG] Not a Corvane link — ignoring: no\\nURL"}));
}

TEST_F(DeepLinkHandling, AfterTheClientIsDestroyedOnlyAnAwaitedLinkIsHandled) {
  auto flow = makeFlow();
  EXPECT_TRUE(flow->handleDeepLink(linkText));
  flow.reset();
  run();
  EXPECT_TRUE(http->sent.empty());
  http->respond(500, "");
  const auto task = makeFlow()->handleDeepLinkAsync(linkText);
  run();
  EXPECT_EQ(task.get().path(), "/sale");
}

}  // namespace
}  // namespace corvane::test
