#include <fstream>
#include <set>

#include "Scenes.h"

namespace corvane::demo {
namespace {

using nlohmann::json;

constexpr const char* campaignScreen =
    "host: onLink: open /offers/7 (re-engagement, campaign \"Summer sale\", discount 12.5)";

/// Whether there is one install, attributed in that way.
bool isOne(const json& installs, const char* match) {
  return installs.size() == 1 && installs[0].at("match") == match;
}

/// Whether there is one install, sent with or without consent.
bool isOne(const json& installs, bool hasConsent) {
  return installs.size() == 1 && installs[0].at("request").at("consent") == hasConsent;
}

/// A visitor presses the button of the landing page on that device. Returns the click token.
std::string click(const Demo& demo, const Device& device) {
  const auto click = demo.backend().click(slug);
  std::ofstream(device.pasteboard()) << click.text;
  say("Pasteboard: " + click.text);
  return click.token;
}

void firstLaunch(Demo& demo, const Device& device) {
  beginScene("1. A click and the first launch",
             "A visitor presses the button of the landing page, which puts a click token on the pasteboard,\n"
             "and installs and starts the application. It is to open the campaign's screen.");
  const std::string token = click(demo, device);
  const Application app = demo.launch(device).runUntil("host: onLink");
  const json records = demo.newRecords();
  const json& installs = records["installs"];
  check("one request was sent and one install was counted", records["arrivals"].size() == 1);
  check("the backend matched it by the token of that click",
        isOne(installs, "deterministic") && installs[0].at("clickToken") == token);
  check("the attribution result is: attributed", app.count("host: onAttribution: attributed") == 1);
  check("the deferred deep link was delivered once", app.count("host: onLink: open /offers/7") == 1);
  check("the pasteboard was emptied", !std::filesystem::exists(device.pasteboard()));
}

void secondLaunch(Demo& demo, const Device& device) {
  beginScene("2. The second launch",
             "An install is counted once: nothing is sent, and the stored attribution result is delivered.");
  Application app = demo.launch(device);
  app.waitFor("Install already tracked");
  app.waitFor("host: onAttribution");
  app.close();
  check("nothing was sent", demo.newRecords()["arrivals"].empty());
  check("the stored result was delivered", app.count("host: onAttribution: attributed") == 1);
  check("the deep link was not delivered again", app.count("host: onLink") == 0);
}

void organicInstall(Demo& demo) {
  beginScene("3. An organic install", "On another device there was no click, and the pasteboard is empty.");
  const Application app = demo.launch(demo.newDevice()).runUntil("host: onAttribution");
  check("one install was counted as organic", isOne(demo.newRecords()["installs"], "organic"));
  check("the attribution result is: not attributed", app.count("host: onAttribution: not attributed") == 1);
  check("no deep link was delivered", app.count("host: onLink") == 0);
}

void consent(Demo& demo) {
  beginScene("4. Consent",
             "This application requires consent, and the user has not answered yet. The campaign's screen\n"
             "opens all the same, but the install is not counted.");
  const Device device = demo.newDevice();
  click(demo, device);
  const Application first = demo.launch(device, {"--require-consent"}).runUntil("host: onLink");
  const json before = demo.newRecords();
  const json& uncounted = before["uncountedInstalls"];
  check("the backend answered and counted nothing", before["installs"].empty() && isOne(uncounted, false));
  check("the attribution result is: not attributed", first.count("host: onAttribution: not attributed") == 1);
  check("the deferred deep link was delivered once", first.count("host: onLink: open /offers/7") == 1);

  say("At the next launch the library waits for the answer, and the user agrees.");
  Application second = demo.launch(device, {"--require-consent"});
  second.waitFor("holding for consent");
  second.type("agree");
  second.waitFor("host: onAttribution: attributed");
  second.close();
  const json after = demo.newRecords();
  const json& counted = after["installs"];
  check("one request was sent with consent and the install was counted",
        after["arrivals"].size() == 1 && isOne(counted, true));
  check("it is from the same device and still matched by its click",
        isOne(counted, "deterministic") && uncounted.size() == 1 &&
            counted[0].at("request").at("deviceId") == uncounted[0].at("request").at("deviceId"));
  check("the deep link was not delivered again", second.count("host: onLink") == 0);
}

void busyBackend(Demo& demo) {
  beginScene("5. A backend that is busy",
             "The backend answers 503 (unavailable) to the next two requests. The library retries after a\n"
             "longer wait each time, with the same idempotency key, so that the install is counted once.");
  const Device device = demo.newDevice();
  click(demo, device);
  demo.backend().faults({{"path", "/v1/events/install"}, {"status", 503}, {"times", 2}});
  const Application app = demo.launch(device).runUntil("host: onLink");
  const json records = demo.newRecords();
  std::string statuses;
  std::set<std::string> keys;
  for (const json& arrival : records["arrivals"]) {
    statuses += arrival.at("status").dump() + " ";
    keys.insert(arrival.at("headers").at("idempotency-key").get<std::string>());
  }
  check("three requests were answered with 503, 503 and 200", statuses == "503 503 200 ");
  check("all three have the same idempotency key", keys.size() == 1 && keys.begin()->starts_with("install:"));
  check("one install was counted", isOne(records["installs"], "deterministic"));
  check("one attribution result and no error were delivered",
        app.count("host: onAttribution: attributed") == 1 && app.count("host: onError") == 0);
}

void unreachableBackend(Demo& demo) {
  beginScene("6. A backend that is down", "After three attempts the error is delivered.");
  demo.stopBackend();
  const Device device = demo.newDevice();
  const Application app = demo.launch(device).runUntil("host: onError");
  check("one error was delivered", app.count("host: onError") == 1);
  check("no attribution result was delivered", app.count("host: onAttribution") == 0);

  say("The backend is up again. No install was counted, so the next launch reports it.");
  demo.startBackend();
  check("no request came while the backend was down", demo.newRecords()["arrivals"].empty());
  demo.launch(device).runUntil("host: onAttribution");
  const json records = demo.newRecords();
  check("one request was sent and one install was counted",
        records["arrivals"].size() == 1 && isOne(records["installs"], "organic"));
}

/// The user of a running application follows a link, and the library resolves it.
void followLink(Application& app, const std::string& link) {
  app.type("open " + link);
  app.waitFor("host: onLink");
  app.close();
}

void link(Demo& demo) {
  beginScene(
      "7. A link opens the running application",
      "The user follows the campaign's link. The backend records the open, and the campaign's screen and\n"
      "data are delivered.");
  Application app = demo.launchAndInstall(demo.newDevice());
  followLink(app, demo.backend().baseURL() + "/" + slug + "?path=/offers");
  const json opens = demo.newRecords()["opens"];
  check("one open was recorded with the slug and the host of the link",
        opens.size() == 1 && opens[0].at("request").at("slug") == slug &&
            opens[0].at("request").at("host") == "127.0.0.1");
  check("the campaign's screen and data were delivered", app.count(campaignScreen) == 1);
}

void linkWithoutConsent(Demo& demo) {
  beginScene("8. The same link without consent", "The link is resolved, and nothing is recorded.");
  Application app = demo.launchAndInstall(demo.newDevice(), {"--require-consent"});
  followLink(app, demo.backend().baseURL() + "/" + slug + "?path=/offers");
  const json records = demo.newRecords();
  const json& arrivals = records["arrivals"];
  check("the link was resolved once and without an API key",
        records["resolves"].size() == 1 && arrivals.size() == 1 &&
            !arrivals[0].at("headers").contains("x-api-key"));
  check("no open was recorded", records["opens"].empty());
  check("the campaign's screen was delivered all the same", app.count(campaignScreen) == 1);
}

void malformedLink(Demo& demo) {
  beginScene("9. A malformed link while the backend is down",
             "A partner's macros were not replaced. The path that the URL itself contains is delivered.");
  Application app = demo.launchAndInstall(demo.newDevice());
  demo.stopBackend();
  followLink(app, "HTTPS://Go.Example:/{campaign}|a b?gaid=%%GAID%%&path=/sale#[x]");
  demo.startBackend();
  check("the URL's own path was delivered without a campaign",
        app.count("host: onLink: open /sale (re-engagement)") == 1);
  check("one error was delivered before the link",
        app.count("host: onError") == 1 && app.lastLine().starts_with("host: onLink"));
  check("nothing was recorded", demo.newRecords()["arrivals"].empty());
}

void purchase(Demo& demo) {
  beginScene("10. A purchase",
             "The user buys something for 9.99 euros, and the application tracks an event.");
  Application app = demo.launchAndInstall(demo.newDevice());
  app.type("buy");
  app.waitFor("host: the event was recorded");
  app.close();
  const json events = demo.newRecords()["events"];
  check("one event was recorded, with its value and its currency in upper case",
        events.size() == 1 && events[0].at("request").at("value") == 9.99 &&
            events[0].at("request").at("currency") == "EUR");
}

void queuedEvents(Demo& demo) {
  beginScene("11. Three events while the backend is down",
             "Events that fail are stored, and the application is closed.");
  const Device device = demo.newDevice();
  Application first = demo.launchAndInstall(device);
  demo.stopBackend();
  for (const char* action : {"sign up", "buy", "buy"}) first.type(action);
  first.waitFor("host: the event was not delivered", 3);
  first.close();
  const std::vector<std::string> queued = device.queuedEvents();
  check("three events are queued, each with its own key",
        queued.size() == 3 && std::set(queued.begin(), queued.end()).size() == 3);
  check("three errors were delivered", first.count("host: onError") == 3);

  say("The backend is up again, and the next launch sends the queued events.");
  demo.startBackend();
  Application second = demo.launch(device);
  const bool isSent = device.awaitEmptyQueue();
  second.close();
  const json records = demo.newRecords();
  std::vector<std::string> recorded;
  for (const json& event : records["events"]) recorded.push_back(event.at("key"));
  check("each was recorded once, in order and with the same key", recorded == queued);
  check("the queue is empty", isSent);
}

void withdrawnConsent(Demo& demo) {
  beginScene(
      "12. Consent withdrawn with an event in the queue",
      "The user agrees, and an event is queued because the backend is down. Then the user refuses: the\n"
      "queue is emptied, and nothing more is sent.");
  const Device device = demo.newDevice();
  Application app = demo.launchAndInstall(device, {"--require-consent"});
  app.type("agree");
  app.waitFor("host: onAttribution", 2);
  demo.newRecords();
  demo.stopBackend();
  app.type("buy");
  app.waitFor("host: the event was not delivered");
  check("the event is queued", device.queuedEvents().size() == 1);
  app.type("refuse");
  app.waitFor("Consent denied");
  app.type("buy");
  app.waitFor("host: the event was dropped");
  app.close();
  check("the queue is empty", device.queuedEvents().empty());

  demo.startBackend();
  demo.launch(device, {"--require-consent"}).runUntil("host: onAttribution");
  check("the next launch sends nothing", demo.newRecords()["arrivals"].empty());
}

}  // namespace

void playConsoleScenes(Demo& demo) {
  const Device device = demo.newDevice();
  firstLaunch(demo, device);
  secondLaunch(demo, device);
  for (const auto scene : {organicInstall, consent, busyBackend, unreachableBackend, link, linkWithoutConsent,
                           malformedLink, purchase, queuedEvents, withdrawnConsent})
    scene(demo);
}

}  // namespace corvane::demo
