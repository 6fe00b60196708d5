#include <corvane.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

#include "BackendAddress.h"
#include "FilePasteboard.h"

// An application with the library in it, as a host developer would write it. One process is one launch. What
// the library logs goes to standard output, and so does, as lines that begin with "host: ", what the
// callbacks are given.
//
// The user sits at standard input: the line "agree" answers the question for consent, the end of input closes
// the application.

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
  app.onAttribution([](const CorvaneAttribution& verdict) {
    std::string text = verdict.attributed() ? "attributed" : "not attributed";
    if (verdict.id()) text += ", id " + std::to_string(*verdict.id());
    if (verdict.deepLink()) text += ", campaign link to " + verdict.deepLink()->path();
    say("onAttribution: " + text);
  });
  app.onLink([](const CorvaneDeepLink& link, CorvaneLinkSource source) {
    const char* why = source == CorvaneLinkSource::deferred ? "deferred" : "re-engagement";
    say("onLink: open " + link.path() + " (" + why + ", campaign \"" + link.campaign().value_or("") + "\")");
  });
  app.onError([](const std::exception& error) { say(std::string("onError: ") + error.what()); });
}

/// Reads what the user does, and does it on the main thread.
void followUser(const std::shared_ptr<Corvane>& app) {
  const auto mainQueue = CorvaneMainQueue::main();
  for (std::string line; std::getline(std::cin, line);) {
    if (line != "agree") continue;
    mainQueue->post([app] {
      say("the user agrees");
      app->setConsent(true);
    });
  }
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
  std::thread user([&app] { followUser(app); });
  CorvaneMainQueue::main()->run();
  user.join();
  return EXIT_SUCCESS;
}
