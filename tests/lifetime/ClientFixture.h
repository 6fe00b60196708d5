#pragma once

#include <corvane/Corvane.h>
#include <corvane/CorvaneCancellationError.h>
#include <corvane/CorvaneMainQueue.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "lifetime/BaseURL.h"
#include "lifetime/Gate.h"
#include "lifetime/TemporaryFolder.h"
#include "support/LoopbackServer.h"

namespace corvane::test {

/// A server that attributes every install once its gate is open, and clients of it.
class ClientFixture : public testing::Test {
 protected:
  ~ClientFixture() override {
    gate.open();
    Corvane::setShared(nullptr);
    Corvane::setPlatform({});
    CorvaneMainQueue::main()->poll();
  }

  /// Without an executor, the library's own queue, of which the test's thread is the main thread.
  std::shared_ptr<Corvane> configure(std::shared_ptr<CorvaneExecutor> executor = nullptr) {
    setBaseURL(server.url(""));
    Corvane::setPlatform(
        {.preferencesFile = folder.path() / "preferences.sqlite", .mainExecutor = std::move(executor)});
    return Corvane::configure("cv_live_test",
                              {.retryPolicy = CorvaneRetryPolicy::disabled, .autoTrackInstall = false});
  }

  Gate gate;
  TemporaryFolder folder;
  LoopbackServer server{[this](const LoopbackRequest&) {
    gate.pass();
    return LoopbackAnswer::of(
        200,
        R"({"id":7,"attributed":true,"deepLink":{"url":"https://go.example.com/a","deepLinkPath":"/a"}})");
  }};
};

}  // namespace corvane::test
