#include <set>
#include <string>
#include <vector>

#include "Scenes.h"

namespace corvane::demo {
namespace {

using nlohmann::json;

std::vector<std::string> keysOf(const json& events) {
  std::vector<std::string> keys;
  for (const json& event : events) keys.push_back(textAt(event, "/key"));
  return keys;
}

void purchase(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("10. A purchase");
  narrator.say("The user buys something for 9.99 euros, and the application tracks that as an event.");
  const auto app = stage.launch(stage.newDevice());
  app->waitFor("host: onAttribution");
  stage.newRecords();
  app->type("buy");
  app->waitFor("host: the event was recorded");
  app->close();

  const Recorded recorded = stage.newRecords();
  const bool one = recorded.events.size() == 1;
  narrator.check("one event was recorded, with its value and its currency in upper case",
                 one && recorded.events[0].at("request").at("value") == 9.99 &&
                     textAt(recorded.events[0], "/request/currency") == "EUR");
}

void eventsWhileTheBackendIsDown(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("11. Three events while the backend is down, and a restart");
  narrator.say(
      "The backend is stopped while the user is active. What fails is kept in the preferences; then the");
  narrator.say("application is closed.");
  const Device device = stage.newDevice();
  const auto first = stage.launch(device);
  first->waitFor("host: onAttribution");
  stage.newRecords();
  stage.stopBackend();
  for (const char* action : {"sign up", "buy", "buy"}) first->type(action);
  first->waitFor("host: the event was not delivered", 3);
  first->close();
  const std::vector<std::string> waiting = device.queuedKeys();
  narrator.check("three events wait, each with a key of its own",
                 waiting.size() == 3 && std::set(waiting.begin(), waiting.end()).size() == 3);
  narrator.check("the host was told of three errors", first->count("host: onError") == 3);

  narrator.say("The backend is back, and so is the user: the next launch sends what waits.");
  stage.startBackend();
  const auto before = stage.backend().records().at("events").size();
  const auto second = stage.launch(device);
  stage.awaitEvents(before + 3);
  const bool drained = device.drainsItsQueue();
  second->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("each was recorded once, in order and under the key that it had",
                 keysOf(recorded.events) == waiting);
  narrator.check("nothing waits any more", drained);
}

void consentDeniedWithEventsWaiting(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("12. Consent taken back with an event waiting");
  narrator.say(
      "The user had agreed, and an event waits for a backend that is down. Then the user refuses: what "
      "waits");
  narrator.say("is dropped, and nothing more is sent.");
  const Device device = stage.newDevice();
  const auto first = stage.launch(device, {"--require-consent"});
  first->waitFor("host: onAttribution");
  first->type("agree");
  first->waitFor("host: onAttribution", 2);
  stage.newRecords();
  stage.stopBackend();
  first->type("buy");
  first->waitFor("host: the event was not delivered");
  narrator.check("the event waits", device.queuedKeys().size() == 1);
  first->type("refuse");
  first->waitFor("Consent denied");
  first->type("buy");
  first->waitFor("host: the event was dropped");
  first->close();
  narrator.check("nothing waits any more", device.queuedKeys().empty());

  stage.startBackend();
  const auto second = stage.launch(device, {"--require-consent"});
  second->waitFor("host: onAttribution");
  second->close();
  narrator.check("the next launch sends nothing", stage.newRecords().arrivals.empty());
}

}  // namespace

void playEventScenes(Stage& stage) {
  purchase(stage);
  eventsWhileTheBackendIsDown(stage);
  consentDeniedWithEventsWaiting(stage);
}

}  // namespace corvane::demo
