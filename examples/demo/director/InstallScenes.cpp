#include <map>
#include <string>

#include "Scenes.h"

namespace corvane::demo {
namespace {

using nlohmann::json;

bool consentOf(const json& row) {
  return row.value(json::json_pointer("/request/consent"), false);
}

/// Whether there is one new install, matched that way.
bool isOne(const json& installs, const char* match) {
  return installs.size() == 1 && textAt(installs[0], "/match") == match;
}

/// A visitor presses the button of the landing page on that device. Gives the click's token.
std::string click(Stage& stage, const Device& device) {
  const auto click = stage.backend().click(slug);
  device.putOnPasteboard(click.text);
  stage.narrator().say("Pasteboard: " + click.text);
  return click.token;
}

void attributedFirstLaunch(Stage& stage, const Device& device) {
  Narrator& narrator = stage.narrator();
  narrator.title("1. A click, and the first launch");
  narrator.say(
      "Someone presses the button of the landing page, which leaves a click token on the pasteboard,");
  narrator.say("installs the application, and starts it. The application is to open the campaign's screen.");
  const std::string token = click(stage, device);
  const auto app = stage.launch(device);
  app->waitFor("host: onLink");
  app->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("one request was sent, and one install counted", recorded.arrivals.size() == 1);
  narrator.check(
      "the backend matched it by the token of that very click",
      isOne(recorded.installs, "deterministic") && textAt(recorded.installs[0], "/clickToken") == token);
  narrator.check("the host was told that the install is attributed",
                 app->count("host: onAttribution: attributed") == 1);
  narrator.check("the deferred deep link was handed over once",
                 app->count("host: onLink: open /offers/7") == 1);
  narrator.check("the pasteboard was emptied", device.hasEmptyPasteboard());
}

void secondLaunch(Stage& stage, const Device& device) {
  Narrator& narrator = stage.narrator();
  narrator.title("2. The second launch");
  narrator.say(
      "The same application starts again. An install is counted once, so nothing is to be sent; the host");
  narrator.say("is given the verdict that was stored.");
  const auto app = stage.launch(device);
  app->waitFor("Install already tracked");
  app->waitFor("host: onAttribution");
  app->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("nothing was sent", recorded.arrivals.empty());
  narrator.check("the host was given the stored verdict", app->count("host: onAttribution: attributed") == 1);
  narrator.check("the deep link was not handed over again", app->count("host: onLink") == 0);
}

void organicInstall(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("3. An organic install");
  narrator.say(
      "On another device nobody clicked anything: the pasteboard is empty, and the install is organic.");
  const auto app = stage.launch(stage.newDevice());
  app->waitFor("host: onAttribution");
  app->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("one install was counted, as organic", isOne(recorded.installs, "organic"));
  narrator.check("the host was told that it is not attributed",
                 app->count("host: onAttribution: not attributed") == 1);
  narrator.check("no deep link was handed over", app->count("host: onLink") == 0);
}

void consentFirstAbsentThenGiven(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("4. Consent");
  narrator.say(
      "This application must ask before it measures. At its first launch the user has not answered yet: the");
  narrator.say("campaign's screen is to open all the same, but the install is not counted.");
  const Device device = stage.newDevice();
  click(stage, device);
  const auto first = stage.launch(device, {"--require-consent"});
  first->waitFor("host: onLink");
  first->close();

  const Recorded before = stage.newRecords();
  narrator.check("the backend answered, and counted nothing", before.installs.empty() &&
                                                                  before.uncountedInstalls.size() == 1 &&
                                                                  !consentOf(before.uncountedInstalls[0]));
  narrator.check("the host was told of no attribution",
                 first->count("host: onAttribution: not attributed") == 1);
  narrator.check("the deferred deep link was handed over once",
                 first->count("host: onLink: open /offers/7") == 1);

  narrator.say("At the next launch the library waits for the answer; then the user agrees.");
  const auto second = stage.launch(device, {"--require-consent"});
  second->waitFor("holding for consent");
  second->type("agree");
  second->waitFor("host: onAttribution: attributed");
  second->close();

  const Recorded after = stage.newRecords();
  narrator.check("one request was sent, with consent, and the install counted",
                 after.arrivals.size() == 1 && after.installs.size() == 1 && consentOf(after.installs[0]));
  narrator.check("it is the same device's, and still matched by its click",
                 isOne(after.installs, "deterministic") && before.uncountedInstalls.size() == 1 &&
                     textAt(after.installs[0], "/request/deviceId") ==
                         textAt(before.uncountedInstalls[0], "/request/deviceId"));
  narrator.check("the deep link was not handed over again", second->count("host: onLink") == 0);
}

void busyBackend(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("5. A backend in trouble");
  narrator.say(
      "The backend answers 503 (unavailable) to the next two requests. The library waits a little longer");
  narrator.say("each time and tries again, under the same key, so that the install is counted once.");
  const Device device = stage.newDevice();
  click(stage, device);
  stage.backend().faults({{"path", "/v1/events/install"}, {"status", 503}, {"times", 2}});
  const auto app = stage.launch(device);
  app->waitFor("host: onLink");
  app->close();

  const Recorded recorded = stage.newRecords();
  std::string statuses;
  std::map<std::string, int> keys;
  for (const json& arrival : recorded.arrivals) {
    statuses += arrival.at("status").dump() + " ";
    ++keys[textAt(arrival, "/headers/idempotency-key")];
  }
  narrator.check("three requests were answered with 503, 503 and 200", statuses == "503 503 200 ");
  narrator.check("all three came under one idempotency key",
                 keys.size() == 1 && keys.begin()->first.starts_with("install:"));
  narrator.check("one install was counted", isOne(recorded.installs, "deterministic"));
  narrator.check("the host was told once, and of no error",
                 app->count("host: onAttribution: attributed") == 1 && app->count("host: onError") == 0);
}

void backendDown(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("6. A backend that is down");
  narrator.say(
      "The backend is stopped. After three tries the host is told of the error, and the application goes "
      "on.");
  stage.stopBackend();
  const Device device = stage.newDevice();
  const auto first = stage.launch(device);
  first->waitFor("host: onError");
  first->close();
  narrator.check("the host was told of one error", first->count("host: onError") == 1);
  narrator.check("it was given no verdict", first->count("host: onAttribution") == 0);

  narrator.say("The backend is back. Nothing was counted, so the next launch reports the install.");
  stage.startBackend();
  const Recorded before = stage.newRecords();
  const auto second = stage.launch(device);
  second->waitFor("host: onAttribution");
  second->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("nothing had come while the backend was down", before.arrivals.empty());
  narrator.check("one request was sent, and one install counted",
                 recorded.arrivals.size() == 1 && isOne(recorded.installs, "organic"));
}

}  // namespace

void playInstallScenes(Stage& stage) {
  const Device device = stage.newDevice();
  attributedFirstLaunch(stage, device);
  secondLaunch(stage, device);
  organicInstall(stage);
  consentFirstAbsentThenGiven(stage);
  busyBackend(stage);
  backendDown(stage);
}

}  // namespace corvane::demo
