#include <chrono>
#include <stdexcept>

#include "Scenes.h"
#include "process/Browser.h"

namespace corvane::demo {
namespace {

using nlohmann::json;
using test::Browser;

/// Runs a program of the desktop. Returns what it prints.
std::string run(const std::string& program, std::vector<std::string> arguments) {
  const auto end = test::runProgram("/usr/bin/" + program, std::move(arguments), std::chrono::seconds(60));
  if (end.status != 0) throw std::runtime_error(program + " failed: " + end.errors);
  return end.output;
}

/// Waits for a visible window whose title contains the text. Returns the window's identifier.
std::string awaitWindow(const std::string& title) {
  const std::string found = run("xdotool", {"search", "--sync", "--onlyvisible", "--name", title});
  return found.substr(0, found.find('\n'));
}

void pressKey(const std::string& window, const std::string& key) {
  run("xdotool", {"windowactivate", "--sync", window, "key", key});
}

/// The clipboard's text; empty where it has none.
std::string clipboard() {
  const auto end = test::runProgram("/usr/bin/xclip", {"-selection", "clipboard", "-out"});
  if (end.timedOut) throw std::runtime_error("the clipboard's owner does not answer");
  return end.output;  // Without text xclip fails and prints nothing.
}

/// Saves what the window shows when it does not change any more.
void savePicture(const std::string& window, const std::filesystem::path& file) {
  run("xdotool", {"windowactivate", "--sync", window});
  std::string last, current;
  for (int attempts = 0; current.empty() || current != last; ++attempts) {
    if (attempts == 100) throw std::runtime_error("the window keeps changing");
    last = current;
    run("import", {"-window", window, file});
    current = run("identify", {"-format", "%#", file});
  }
  check("a picture was saved: " + file.filename().string(), std::filesystem::file_size(file) > 4096);
}

void clickOnLandingPage(const Demo& demo, Browser& browser, const std::filesystem::path& pictures) {
  beginScene("1. The campaign's landing page", "A visitor opens it in a browser and presses its button.");
  browser.open(demo.backend().baseURL() + "/l/" + slug);
  const std::string window = awaitWindow("Summer sale");
  const auto [x, y] = browser.placeOnDisplay("#copy");
  run("xdotool", {"mousemove", "--sync", std::to_string(x), std::to_string(y), "click", "1"});
  browser.awaitTrue("document.getElementById('status').className === 'done'");
  savePicture(window, pictures / "landing-page.png");
  const json clicks = demo.backend().records()["clicks"];
  check("the clipboard contains the click token of this visit",
        clicks.size() == 1 && clipboard().ends_with("cv_click=" + clicks[0].at("token").get<std::string>()));
}

void pasteInShop(Demo& demo, Application& shop, const std::filesystem::path& pictures) {
  beginScene("2. The first start of the shop",
             "The visitor has installed the shop. Its paste button is enabled, as the clipboard has text.");
  shop.waitFor("shop: page Welcome");
  const std::string window = awaitWindow("Juniper");
  savePicture(window, pictures / "shop-first-start.png");
  check("nothing was sent before the press", demo.newRecords()["arrivals"].empty());
  check("the clipboard was not changed", !clipboard().empty());

  beginScene("3. The paste button", "The visitor presses it, and the shop opens the campaign's product.");
  pressKey(window, "Return");
  shop.waitFor("shop: page Common juniper");
  savePicture(window, pictures / "shop-product.png");
  const json installs = demo.newRecords()["installs"];
  check("the install was attributed to that click",
        installs.size() == 1 && installs[0].at("match") == "deterministic");
  check("the clipboard is empty", clipboard().empty());
  check("the shop shows the campaign's product once", shop.count("shop: page Common juniper") == 1);
}

void closeShop(const Demo& demo, Browser& browser, Application& shop, const std::filesystem::path& pictures) {
  beginScene("4. The backend's own page", "It lists the click and the install. Then the shop is closed.");
  browser.open(demo.backend().baseURL() + "/");
  browser.awaitTrue("document.querySelector('#activity .note')");
  savePicture(awaitWindow("Corvane sandbox"), pictures / "sandbox.png");
  pressKey(awaitWindow("Juniper"), "alt+F4");
  shop.close();
  check("the shop ended with exit status 0", true);
  say("The pictures are in " + pictures.string());
}

}  // namespace

void playWindowScenes(Demo& demo, const std::string& shopProgram, const std::filesystem::path& pictures) {
  std::filesystem::create_directories(pictures);
  const Device device = demo.newDevice();
  // It stays open, as it owns the clipboard's text.
  Browser browser(device.folder / "browser", Browser::Screen::display);
  clickOnLandingPage(demo, browser, pictures);
  Application shop({shopProgram, "--backend", demo.backend().baseURL(), "--data", device.folder});
  pasteInShop(demo, shop, pictures);
  closeShop(demo, browser, shop, pictures);
}

void showShop(Demo& demo, const std::string& shop) {
  const std::string& backend = demo.backend().baseURL();
  say("Open the landing page " + backend + "/l/" + slug + " in a browser, press its button,");
  say("and then the shop's paste button. The backend's page is " + backend + "/. Close the shop to end.");
  Application window({shop, "--backend", backend, "--data", demo.newDevice().folder});
  window.close(std::chrono::hours(24 * 365));
  demo.newRecords();
}

}  // namespace corvane::demo
