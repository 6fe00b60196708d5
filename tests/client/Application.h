#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
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

/// An application with a folder and a backend of its own; each test is one installation.
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
    setBaseURL(sandbox.baseURL());
    sandbox.link({{"slug", "summer"},
                  {"deepLinkPath", "/offers/7"},
                  {"campaign", "Summer"},
                  {"customData", {{"price", 9.99}}}});
  }

  void TearDown() override {
    Corvane::setShared(nullptr);
    EXPECT_EQ(Corvane::shared(), nullptr);
  }

  std::shared_ptr<Corvane> launch() {
    auto client = Corvane::configure("cv_test_1", options);
    client->onAttribution(
        [this](const CorvaneAttribution& a) { note(a.attributed() ? "attributed" : "organic"); });
    client->onLink([this](const CorvaneDeepLink& link, CorvaneLinkSource) { note(link.path()); });
    client->onError([this](const std::exception& error) { note(error.what()); });
    return client;
  }

  void note(std::string call) { calls.push_back(std::move(call)); }

  /// Runs the main queue until that many calls were noted, and takes them.
  std::vector<std::string> awaitCalls(std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    EXPECT_TRUE(queue->runUntil([&] { return calls.size() >= count; }, deadline))
        << "waited for " << count << " calls and got " << testing::PrintToString(calls);
    return std::exchange(calls, {});
  }

  template <class T>
  static T await(const CorvaneTask<T>& task) {
    if (!task.waitFor(patience)) throw std::runtime_error("the operation did not complete in time");
    return task.get();
  }

  std::shared_ptr<platform::UserDefaults> stored() const {
    return platform::UserDefaults::open(platform.preferencesFile);
  }

  static constexpr std::chrono::seconds patience{30};

  SandboxProcess sandbox;
  TemporaryFolder folder;
  CorvanePlatform platform;
  CorvaneOptions options;
  std::shared_ptr<CorvaneMainQueue> queue = std::make_shared<CorvaneMainQueue>();
  std::shared_ptr<MemoryPasteboard> pasteboard = std::make_shared<MemoryPasteboard>();
  std::vector<std::string> calls;
};

}  // namespace corvane::test
