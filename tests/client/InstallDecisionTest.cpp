#include "client/Application.h"
#include "support/CapturedOutput.h"

namespace corvane {
namespace {

using Lines = std::vector<std::string>;

struct Row {
  bool consent;
  bool routedBefore;
  /// Of the campaign: a screen, or "/" for none.
  const char* path;
  bool routedAfter;
  Lines delivered;
  const char* line;
};

struct InstallDecision : test::ApplicationWithBackend, testing::WithParamInterface<Row> {};

TEST_P(InstallDecision, CountsAndRoutesByConsentAndLink) {
  const Row& row = GetParam();
  sandbox.link({{"slug", "campaign"}, {"deepLinkPath", row.path}});
  const std::string token = sandbox.click("campaign").text;
  options.requireConsent = true;
  if (row.routedBefore) stored()->setBool(true, "io.corvane.deferred_routed");
  const auto client = launch();
  if (row.consent) client->setConsent(true);

  test::CapturedOutput output;
  const CorvaneAttribution verdict = client->trackInstallAsync(token, true).get();
  queue->poll();
  EXPECT_EQ(verdict.attributed(), row.consent);
  EXPECT_EQ(verdict.deepLink()->path(), row.path);
  const auto records = sandbox.records();
  ASSERT_EQ(records["arrivals"].size(), 1U);
  EXPECT_EQ(records["installs"].size(), row.consent ? 1U : 0U);
  EXPECT_EQ(records["uncountedInstalls"].size(), row.consent ? 0U : 1U);
  EXPECT_EQ(stored()->boolForKey("io.corvane.install_tracked"), row.consent);
  EXPECT_EQ(stored()->boolForKey("io.corvane.deferred_routed"), row.routedAfter);
  EXPECT_TRUE(stored()->dataForKey("io.corvane.last_attribution"));
  EXPECT_EQ(calls, row.delivered);
  const std::string consent = row.consent ? "true" : "false";
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [INFO] Sending install event… (consent: " + consent + ")",
                                   std::string("[Corvane] [INFO] ") + row.line}));
}

const Lines attributed{"attributed"}, attributedAndLink{"attributed", "/offers/7"};
const Lines organic{"organic"}, organicAndLink{"organic", "/offers/7"};
constexpr const char* screenPath = "/offers/7";
constexpr const char* counted = "Install attributed (deterministic click token)";
constexpr const char* notCounted = "Install not counted (no consent) — no deferred link to route";
constexpr const char* linkOnly = "Install not counted (no consent) — routing the deferred link only";
INSTANTIATE_TEST_SUITE_P(Table, InstallDecision,
                         testing::Values(Row{true, true, screenPath, true, attributed, counted},
                                         Row{true, false, screenPath, true, attributedAndLink, counted},
                                         Row{true, false, "/", false, attributed, counted},
                                         Row{false, true, screenPath, true, organic, notCounted},
                                         Row{false, false, screenPath, true, organicAndLink, linkOnly},
                                         Row{false, false, "/", false, organic, notCounted}),
                         [](const auto& row) {
                           return std::string(row.param.consent ? "Consent" : "NoConsent") +
                                  (row.param.routedBefore ? "RoutedBefore" : "NotRoutedBefore") +
                                  (row.param.path == screenPath ? "WithAScreen" : "WithoutAScreen");
                         });

}  // namespace
}  // namespace corvane
