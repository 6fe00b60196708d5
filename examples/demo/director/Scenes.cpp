#include "Scenes.h"

namespace corvane::demo {

void makeCampaign(Stage& stage) {
  stage.backend().link({{"slug", slug},
                        {"deepLinkPath", "/offers/7"},
                        {"campaign", "Summer sale"},
                        {"channel", "newsletter"},
                        {"customData", {{"discount", 12.5}}}});
  stage.narrator().say("There is one campaign, \"Summer sale\": its landing page is " +
                       stage.backend().baseURL() + "/l/" + slug + ",");
  stage.narrator().say("and it leads to the screen /offers/7 of the application.");
}

void playScenes(Stage& stage) {
  makeCampaign(stage);
  playInstallScenes(stage);
  playLinkScenes(stage);
  playEventScenes(stage);
}

}  // namespace corvane::demo
