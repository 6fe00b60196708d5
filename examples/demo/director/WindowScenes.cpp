#include "WindowScenes.h"

#include <chrono>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "Desktop.h"
#include "Scenes.h"
#include "process/Browser.h"

namespace corvane::demo {
namespace {

using nlohmann::json;
using test::Browser;

double secondsSince1970() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// The middle of the shop's paste button, in its window: "shop: paste button at X Y WIDTH HEIGHT".
std::pair<int, int> pasteButton(const HostProcess& shop) {
  const std::string begin = "shop: paste button at ";
  std::istringstream numbers(shop.lastLine(begin).substr(begin.size()));
  double x = 0, y = 0, width = 0, height = 0;
  if (!(numbers >> x >> y >> width >> height)) throw std::runtime_error("the shop has no paste button");
  return {static_cast<int>(x + width / 2), static_cast<int>(y + height / 2)};
}

/// Waits for the first install; where it came to, and how long after `pressed`.
json awaitInstall(Stage& stage, double pressed) {
  const json install = stage.backend().awaitRecords(
      [](const json& records) { return !records.at("installs").empty(); })["installs"][0];
  stage.narrator().say("From the press to the install at the backend: " +
                       std::to_string(static_cast<int>((install.at("at").get<double>() - pressed) * 1000)) +
                       " ms.");
  return install;
}

/// One visit: the browser stays open until the end, as the clipboard is its own until somebody takes it over.
class Visit {
 public:
  Visit(Stage& stage, std::string shop, std::filesystem::path pictures)
      : stage_(stage),
        narrator_(stage.narrator()),
        shopProgram_(std::move(shop)),
        pictures_(std::move(pictures)),
        desktop_(stage.interrupt()),
        device_(stage.newDevice()),
        browser_(device_.folder / "browser", Browser::Screen::display) {
    std::filesystem::create_directories(pictures_);
  }

  void pressTheLandingPagesButton() {
    narrator_.title("1. The campaign's landing page");
    makeCampaign(stage_);
    narrator_.say("A visitor opens it in a browser, and presses its button.");
    browser_.open(stage_.backend().baseURL() + "/l/" + slug);
    browserWindow_ = desktop_.awaitWindow("Summer sale");
    const Browser::Point button = browser_.placeOnDisplay("#copy");
    desktop_.press(button.x, button.y);
    browser_.awaitTrue("document.getElementById('status').className === 'done'");
    keepPicture(browserWindow_, "landing-page.png");
    const json clicks = stage_.backend().records()["clicks"];
    narrator_.check("the display's clipboard holds the visit's click token",
                    clicks.size() == 1 && desktop_.clipboard().ends_with(
                                              "cv_click=" + clicks[0].at("token").get<std::string>()));
  }

  void startTheShop() {
    narrator_.title("2. The shop's first start");
    narrator_.say("The visitor has installed the shop. Its paste button can be pressed, as there is text.");
    shop_ = stage_.start(shopProgram_,
                         {"--narrate", "--backend", stage_.backend().baseURL(), "--data", device_.folder});
    shop_->waitFor("shop: screen welcome");
    shop_->waitFor("shop: paste button at");
    shopWindow_ = desktop_.awaitWindow("Juniper");
    keepPicture(shopWindow_, "shop-first-start.png");
    narrator_.check("nothing was sent before the press", stage_.newRecords().arrivals.empty());
    narrator_.check("the clipboard was left alone", !desktop_.clipboard().empty());
  }

  void pressThePasteButton() {
    narrator_.title("3. The paste button");
    narrator_.say("The visitor presses it, and the shop opens at the campaign's product.");
    const auto [x, y] = pasteButton(*shop_);
    const double pressed = secondsSince1970();
    desktop_.press(x, y, shopWindow_);
    const json install = awaitInstall(stage_, pressed);
    shop_->waitFor("shop: screen product 7");
    shop_->waitFor("shop: buy button at");
    keepPicture(shopWindow_, "shop-product.png");
    stage_.newRecords();
    narrator_.check("the install was attributed to that very click",
                    textAt(install, "/match") == "deterministic");
    narrator_.check("the clipboard is empty", desktop_.clipboard().empty());
    narrator_.check("the shop is on the campaign's product page",
                    shop_->count("shop: screen product 7") == 1);
  }

  void lookAtTheBackend() {
    narrator_.title("4. The backend's own page");
    browser_.open(stage_.backend().baseURL() + "/");
    browser_.awaitTrue("document.querySelector('#activity .note')");
    keepPicture(desktop_.awaitWindow("Corvane sandbox"), "sandbox.png");
    desktop_.closeWindow(shopWindow_);
    shop_->close();
    narrator_.check("the shop closed cleanly", true);
    narrator_.say("Pictures of all this are in " + pictures_.string());
  }

 private:
  void keepPicture(const std::string& window, const char* name) const {
    desktop_.keepPicture(window, pictures_ / name);
    narrator_.check(std::string("a picture was kept: ") + name,
                    std::filesystem::file_size(pictures_ / name) > 4096);
  }

  Stage& stage_;
  Narrator& narrator_;
  const std::string shopProgram_;
  const std::filesystem::path pictures_;
  const Desktop desktop_;
  const Device device_;
  Browser browser_;
  std::string browserWindow_, shopWindow_;
  std::unique_ptr<HostProcess> shop_;
};

}  // namespace

void playWindowScenes(Stage& stage, const std::string& shop, const std::filesystem::path& pictures) {
  Visit visit(stage, shop, pictures);
  visit.pressTheLandingPagesButton();
  visit.startTheShop();
  visit.pressThePasteButton();
  visit.lookAtTheBackend();
}

void showWindow(Stage& stage, const std::string& shop) {
  Narrator& narrator = stage.narrator();
  makeCampaign(stage);
  narrator.say("Open it in a browser, press its button, and then the shop's paste button. The backend's own");
  narrator.say("page is " + stage.backend().baseURL() + "/. Close the shop's window to end.");
  const Device device = stage.newDevice();
  const auto window =
      stage.start(shop, {"--narrate", "--backend", stage.backend().baseURL(), "--data", device.folder});
  window->awaitEnd();
  stage.newRecords();
}

}  // namespace corvane::demo
