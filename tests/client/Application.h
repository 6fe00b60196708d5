#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "corvane.h"
#include "platform/preferences/UserDefaults.h"
#include "process/SandboxProcess.h"
#include "support/BaseURL.h"
#include "support/TemporaryFolder.h"

namespace corvane::test {

struct MemoryPasteboard : CorvanePasteboard {
  std::optional<std::string> string() override { return text; }
  void clear() override { text.reset(); }
  std::optional<std::string> text;
};

/// An application with a folder of its own; each test is one installation.
struct Application : testing::Test {
  void SetUp() override {
    platform.applicationIdentifier = "com.example.shop";
    platform.preferencesFile = folder.path() / "preferences.sqlite";
    platform.mainExecutor = queue;
    platform.pasteboard = pasteboard;
    Corvane::setPlatform(platform);
    options.logEnabled = true;
    options.autoTrackInstall = false;
    options.retryPolicy = CorvaneRetryPolicy(3, 0, 8);
    queue->poll();
  }

  void TearDown() override { Corvane::setShared(nullptr); }

  std::shared_ptr<Corvane> launch() {
    auto client = Corvane::configure("cv_test_1", options);
    client->onAttribution(
        [this](const CorvaneAttribution& a) { note(a.attributed() ? "attributed" : "organic"); });
    client->onLink([this](const CorvaneDeepLink& link, CorvaneLinkSource) { note(link.path()); });
    client->onError([this](const std::exception& error) { note(error.what()); });
    return client;
  }

  void note(std::string call) {
    calls.push_back(std::move(call));
    queue->stop();
  }

  /// Runs the main queue until so much was delivered.
  std::vector<std::string> awaitCalls(std::size_t count) {
    while (calls.size() < count) queue->run();
    return std::exchange(calls, {});
  }

  std::shared_ptr<platform::UserDefaults> stored() const {
    return platform::UserDefaults::open(platform.preferencesFile);
  }

  TemporaryFolder folder;
  CorvanePlatform platform;
  CorvaneOptions options;
  std::shared_ptr<CorvaneMainQueue> queue = std::make_shared<CorvaneMainQueue>();
  std::shared_ptr<MemoryPasteboard> pasteboard = std::make_shared<MemoryPasteboard>();
  std::vector<std::string> calls;
};

struct ApplicationWithBackend : Application {
  void SetUp() override {
    Application::SetUp();
    setBaseURL(sandbox.baseURL());
    sandbox.link({{"slug", "summer"},
                  {"deepLinkPath", "/offers/7"},
                  {"campaign", "Summer"},
                  {"customData", {{"price", 9.99}}}});
  }

  /// A link as it stands in a newsletter.
  std::string linkTo(const std::string& rest) const { return sandbox.baseURL() + "/" + rest; }

  SandboxProcess sandbox;
};

}  // namespace corvane::test
