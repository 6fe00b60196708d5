#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "process/Browser.h"
#include "process/SandboxProcess.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {
namespace {

using nlohmann::json;

class SandboxPages : public testing::Test {
 protected:
  void SetUp() override {
    if (Browser::executable().empty())
      GTEST_SKIP() << "no Chromium on this machine (Debian package: chromium)";
  }

  TemporaryFolder folder;
  SandboxProcess sandbox;
};

std::string countOf(const std::string& name) {
  return "document.querySelector('[data-count=" + name + "] strong')?.textContent";
}

TEST_F(SandboxPages, TheLivePageShowsACampaignFromItsLinkToTheInstall) {
  Browser browser(folder.path() / "operator");
  browser.allowClipboard(sandbox.baseURL());
  browser.open(sandbox.baseURL() + "/");
  browser.awaitTrue("document.getElementById('connection').className === 'live'");

  browser.press("#newLink summary");
  browser.type("[name=slug]", "summer");
  browser.type("[name=deepLinkPath]", "/offers/7");
  browser.type("[name=campaign]", "Summer & <b>Sun</b>");
  browser.type("[name=customData]", R"({"big": 9007199254740993, "vip": true})");
  browser.press("#linkForm button");
  browser.awaitTrue("document.querySelector('#links a')");
  const json link = sandbox.records()["links"][0];
  EXPECT_EQ(link["customData"], json({{"big", 9007199254740993}, {"vip", true}}));
  EXPECT_EQ(browser.evaluate("document.querySelector('#links .note').textContent"),
            "Summer & <b>Sun</b> · /offers/7");

  const std::string token = sandbox.click("summer").token;
  sandbox.post("/v1/events/install",
               {{"identifier", "<img src=x>"}, {"platform", "iOS"}, {"consent", true}, {"clickId", token}},
               {"X-Api-Key: cv_test"});
  browser.awaitTrue(countOf("installs") + " === '1'");
  EXPECT_EQ(browser.evaluate(countOf("clicks")), "1");
  EXPECT_EQ(
      browser.evaluate("[...document.querySelectorAll('#activity .what')].map((row) => row.textContent)"),
      json({"<img src=x>", "summer"}));
  EXPECT_EQ(browser.evaluate("document.querySelector('#activity .note').textContent"),
            "200 · counted: deterministic, summer");

  sandbox.faults({{"path", "/v1/events"}, {"status", 503}});
  browser.awaitTrue(countOf("faults") + " === '1'");
  sandbox.post("/v1/events", json::object());
  browser.awaitTrue("document.querySelector('#activity .badge.fault')");

  browser.press("#clear");
  browser.awaitTrue("document.querySelectorAll('#activity li').length === 0");
  EXPECT_EQ(sandbox.records()["installs"].size(), 0u);
}

TEST_F(SandboxPages, TheLandingPageCopiesWithAndWithoutASecureContext) {
  sandbox.link({{"slug", "summer"}, {"campaign", "Summer & <b>Sun</b>"}});
  Browser visitor(folder.path() / "visitor");
  visitor.allowClipboard(sandbox.baseURL());
  std::string phone = sandbox.baseURL();
  phone.replace(phone.find("127.0.0.1"), 9, "phone.local");
  for (const std::string& origin : {sandbox.baseURL(), phone}) {
    visitor.open(origin + "/l/summer");
    ASSERT_EQ(visitor.evaluate("window.isSecureContext"), origin != phone);
    EXPECT_EQ(visitor.evaluate("document.querySelector('h1').textContent"), "Summer & <b>Sun</b>");
    visitor.press("#copy");
    visitor.awaitTrue("document.getElementById('status').className === 'done'");
    EXPECT_EQ(visitor.evaluate("document.getElementById('text').hidden"), true);
    const std::string token = sandbox.records()["clicks"].back()["token"];
    visitor.open(sandbox.baseURL() + "/");
    EXPECT_EQ(visitor.evaluate("navigator.clipboard.readText()"), origin + "/summer?cv_click=" + token);
  }
}

}  // namespace
}  // namespace corvane::test
