#include <corvane.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "BackendAddress.h"
#include "FilePasteboard.h"

// An application with the library in it, as a host developer would write it. One process is one launch. The
// library's log goes to standard output. So do the calls of the callbacks, as lines that begin with "host: ".
//
// Each line of standard input is an action of the user:
//   agree, refuse         answers the question for consent
//   open URL              follows a link that opens the running application
//   sign up, buy          does something that this application tracks
// The end of the input closes the application.

namespace {

using namespace corvane::demo;

constexpr const char* usage =
    R"(corvane-demo-host: one launch of the demo's application.

  --backend URL       the backend's origin
  --device FOLDER     the device: where the preferences and the pasteboard are
  --require-consent   count nothing before the user agrees
)";

struct Launch {
  std::string backend;
  std::filesystem::path device;
  bool requireConsent = false;
};

Launch readArguments(int count, char** arguments) {
  Launch launch;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    const bool hasValue = i + 1 < count;
    if (name == "--backend" && hasValue) {
      launch.backend = arguments[++i];
    } else if (name == "--device" && hasValue) {
      launch.device = arguments[++i];
    } else if (name == "--require-consent") {
      launch.requireConsent = true;
    }
  }
  if (!launch.backend.empty() && !launch.device.empty()) return launch;
  std::fputs(usage, stderr);
  std::exit(2);
}

/// One line, flushed: the library's own lines come in between.
void say(const std::string& text) {
  std::printf("host: %s\n", text.c_str());
  std::fflush(stdout);
}

void registerCallbacks(Corvane& app) {
  app.onAttribution([](const CorvaneAttribution& result) {
    std::string text = result.attributed() ? "attributed" : "not attributed";
    if (result.id()) text += ", id " + std::to_string(*result.id());
    if (result.deepLink()) text += ", campaign link to " + result.deepLink()->path();
    say("onAttribution: " + text);
  });
  app.onLink([](const CorvaneDeepLink& link, CorvaneLinkSource source) {
    const char* why = source == CorvaneLinkSource::deferred ? "deferred" : "re-engagement";
    std::string text = "onLink: open " + link.path() + " (" + why;
    if (link.campaign()) text += ", campaign \"" + *link.campaign() + "\"";
    if (link.customData() && link.customData()->contains("discount"))
      text += ", discount " + link.customData()->at("discount");
    say(text + ")");
  });
  app.onError([](const std::exception& error) { say(std::string("onError: ") + error.what()); });
}

void reportOutcome(const CorvaneTask<CorvaneEventResult>& event) {
  event.whenDone([](const CorvaneTask<CorvaneEventResult>& task) {
    try {
      const auto id = task.get().id();
      say(id ? "the event was recorded, id " + std::to_string(*id) : "the event was dropped");
    } catch (const std::exception&) {
      say("the event was not delivered");
    }
  });
}

void doAction(Corvane& app, const std::string& line) {
  constexpr std::string_view open = "open ";
  if (line == "agree" || line == "refuse") {
    say(line == "agree" ? "the user agrees" : "the user refuses");
    app.setConsent(line == "agree");
  } else if (line.starts_with(open)) {
    const bool handled = app.handleDeepLink(std::string_view(line).substr(open.size()));
    say(handled ? "that is a tracking link" : "that is not a tracking link");
  } else if (line == "sign up") {
    reportOutcome(app.trackEventAsync("sign_up"));
  } else if (line == "buy") {
    reportOutcome(app.trackEventAsync("purchase", 9.99, "eur"));
  }
}

/// Reads the user's actions and does them on the main thread.
void readActions(const std::shared_ptr<Corvane>& app) {
  const auto mainQueue = CorvaneMainQueue::main();
  for (std::string line; std::getline(std::cin, line);)
    mainQueue->post([app, line] { doAction(*app, line); });
  mainQueue->stop();
}

}  // namespace

int main(int count, char** arguments) {
  const Launch launch = readArguments(count, arguments);
  setBackendAddress(launch.backend);
  Corvane::setPlatform({.applicationIdentifier = "com.example.shop",
                        .preferencesFile = launch.device / "preferences.sqlite",
                        .pasteboard = std::make_shared<FilePasteboard>(launch.device / "pasteboard.txt")});
  const auto app = Corvane::configure(
      "cv_demo",
      {.logEnabled = true, .logLevel = CorvaneLogLevel::debug, .requireConsent = launch.requireConsent});
  registerCallbacks(*app);
  std::thread user([&app] { readActions(app); });
  CorvaneMainQueue::main()->run();
  user.join();
  return EXIT_SUCCESS;
}
