#include <algorithm>
#include <functional>

#include "client/Application.h"

namespace corvane {
namespace {

using Lines = std::vector<std::string>;

/// The rows of that kind in which the member of the request is that text.
long count(const nlohmann::json& rows, const char* member, const std::string& text) {
  return std::ranges::count_if(rows, [&](const auto& row) { return row.at("request").at(member) == text; });
}

using LinksAndEvents = test::ApplicationWithBackend;

TEST_F(LinksAndEvents, AreRecordedWithTheirCampaignAndCurrency) {
  const auto client = launch();
  EXPECT_TRUE(client->handleDeepLink(linkTo("summer?path=/x")));
  EXPECT_EQ(awaitCalls(1), Lines{"/offers/7"});
  EXPECT_EQ(client->lastDeepLink()->customData()->at("price"), "9.99");
  const CorvaneDeepLink unknown = client->handleDeepLinkAsync(linkTo("a%20b&c?path=/x y")).get();
  EXPECT_EQ(unknown.slug(), "a b&c");
  EXPECT_EQ(unknown.path(), "/x y");
  EXPECT_EQ(client->lastDeepLink(), unknown);
  EXPECT_FALSE(client->handleDeepLink("not a link"));

  EXPECT_TRUE(client->trackEventAsync("signup").get().id());
  EXPECT_TRUE(client->trackEventAsync("purchase", 9.99, "eur").get().id());
  const auto records = sandbox.records();
  EXPECT_EQ(count(records["opens"], "slug", "summer"), 1);
  EXPECT_EQ(count(records["opens"], "slug", "a b&c"), 1);
  EXPECT_EQ(count(records["events"], "name", "signup"), 1);
  EXPECT_EQ(records["events"][1]["request"]["currency"], "EUR");
}

TEST_F(LinksAndEvents, WithoutConsentAreLookedUpAndDropped) {
  options.requireConsent = true;
  const auto client = launch();
  EXPECT_EQ(client->handleDeepLinkAsync(linkTo("summer")).get().path(), "/offers/7");
  EXPECT_EQ(client->trackEventAsync("signup").get(), CorvaneEventResult(std::nullopt, false));
  const auto records = sandbox.records();
  EXPECT_EQ(records["resolves"].size(), 1U);
  EXPECT_EQ(records["arrivals"].size(), 1U);
}

TEST_F(LinksAndEvents, ThatFailAreDeliveredUnderTheirKeysByTheNextConfigureGrantOrInstall) {
  const auto client = launch();
  std::size_t delivered = 0;
  const std::function<void()> occasions[] = {[&] { Corvane::configure("cv_test_1", options); },
                                             [&] { client->setConsent(true); },
                                             [&] { client->trackInstall(true); }};
  for (const auto& occasion : occasions) {
    sandbox.faults({{"path", "/v1/events"}, {"status", 503}, {"times", 3}});
    client->trackEvent("purchase", 1);
    EXPECT_EQ(awaitCalls(1), Lines{"Server returned status 503: "});
    occasion();
    sandbox.awaitRecords([&](const auto& records) { return records.at("events").size() == delivered + 1; });
    ++delivered;
    calls.clear();
  }
  const auto records = sandbox.records();
  for (const auto& event : records["events"]) {
    const auto of = [&](const auto& key) { return key["key"] == event["key"]; };
    EXPECT_EQ((*std::ranges::find_if(records["keys"], of))["arrivals"], 4);
  }
}

TEST_F(LinksAndEvents, AreDroppedFromTheQueueByADenial) {
  const auto client = launch();
  sandbox.faults({{"path", "/v1/events"}, {"status", 400}});
  client->trackEvent("purchase", 1);
  awaitCalls(1);
  EXPECT_TRUE(stored()->dataForKey("io.corvane.event_queue"));
  client->setConsent(false);
  EXPECT_FALSE(stored()->dataForKey("io.corvane.event_queue"));
}

}  // namespace
}  // namespace corvane
