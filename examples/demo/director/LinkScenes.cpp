#include <string>

#include "Scenes.h"

namespace corvane::demo {
namespace {

/// The campaign's link, as it stands in a newsletter.
std::string campaignLink(const Stage& stage) {
  return stage.backend().baseURL() + "/" + slug + "?path=/offers";
}

void linkOpensTheApplication(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("7. A link opens the running application");
  narrator.say(
      "The application is installed and running when its user follows the campaign's link. The backend");
  narrator.say("records the open, and the host is given the campaign's screen and its data.");
  const auto app = stage.launch(stage.newDevice());
  app->waitFor("host: onAttribution");
  stage.newRecords();
  app->type("open " + campaignLink(stage));
  app->waitFor("host: onLink");
  app->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("one open was recorded, of the link's slug and host",
                 recorded.opens.size() == 1 && textAt(recorded.opens[0], "/request/slug") == slug &&
                     textAt(recorded.opens[0], "/request/host") == "127.0.0.1");
  narrator.check(
      "the host was handed the campaign's screen and data",
      app->count("host: onLink: open /offers/7 (re-engagement, campaign \"Summer sale\", discount 12.5)") ==
          1);
}

void linkWithoutConsent(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("8. The same link without consent");
  narrator.say("This user has not agreed to be measured. The link is looked up, and nothing is recorded.");
  const auto app = stage.launch(stage.newDevice(), {"--require-consent"});
  app->waitFor("host: onAttribution");
  stage.newRecords();
  app->type("open " + campaignLink(stage));
  app->waitFor("host: onLink");
  app->close();

  const Recorded recorded = stage.newRecords();
  narrator.check("the link was looked up once, without a key",
                 recorded.resolves.size() == 1 && recorded.arrivals.size() == 1 &&
                     textAt(recorded.arrivals[0], "/headers/x-api-key").empty());
  narrator.check("no open was recorded", recorded.opens.empty());
  narrator.check("the host was handed the campaign's screen all the same",
                 app->count("host: onLink: open /offers/7 (re-engagement") == 1);
}

void untidyLinkWithTheBackendDown(Stage& stage) {
  Narrator& narrator = stage.narrator();
  narrator.title("9. An untidy link, and a backend that is down");
  narrator.say(
      "A partner left its macros in the link, and the backend cannot be reached: what the URL itself holds");
  narrator.say("opens the application's screen.");
  const auto app = stage.launch(stage.newDevice());
  app->waitFor("host: onAttribution");
  stage.newRecords();
  stage.stopBackend();
  app->type("open HTTPS://Go.Example:/{campaign}|a b?gaid=%%GAID%%&path=/sale#[x]");
  app->waitFor("host: onLink");
  app->close();

  stage.startBackend();
  const Recorded recorded = stage.newRecords();
  narrator.check("the host was handed the URL's own path, and no campaign",
                 app->count("host: onLink: open /sale (re-engagement)") == 1);
  narrator.check("it was told of one error, before the link",
                 app->count("host: onError") == 1 && app->printedInOrder("host: onError", "host: onLink"));
  narrator.check("nothing was recorded", recorded.arrivals.empty());
}

}  // namespace

void playLinkScenes(Stage& stage) {
  linkOpensTheApplication(stage);
  linkWithoutConsent(stage);
  untidyLinkWithTheBackendDown(stage);
}

}  // namespace corvane::demo
