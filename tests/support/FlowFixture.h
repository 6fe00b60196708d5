#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/ClientCore.h"
#include "core/Consent.h"
#include "flows/ClientParts.h"
#include "flows/EventQueue.h"
#include "support/FakeBackground.h"
#include "support/ManualExecutor.h"
#include "support/MemoryStores.h"
#include "support/ScriptedHTTPClient.h"

namespace corvane::test {

/// The parts of a flow, with a scripted backend, a fake clock and a main thread that runs when the test says
/// so. `delivered` lists what reached the host, in order.
struct FlowFixture : ::testing::Test {
  FlowFixture() { noteDeliveries(); }

  /// Registers the callbacks of `core`.
  void noteDeliveries() {
    core->onLink([this](const CorvaneDeepLink& link, CorvaneLinkSource source) {
      delivered.push_back((source == CorvaneLinkSource::deferred ? "deferred " : "reengagement ") +
                          link.path());
    });
    core->onError([this](const std::exception& error) { delivered.push_back(error.what()); });
  }

  /// Ends the tasks that still wait: each owns the executor that owns it.
  ~FlowFixture() override {
    while (http->isWaiting()) {
      http->respond(500, "");
      background->run();
    }
  }

  void run() {
    for (int turns = 0; turns < 3; ++turns) {
      background->run();
      main->run();
    }
    background->run();
  }

  ClientParts parts(bool requireConsent) const {
    return {core, api, logger, DeviceInfo{.bundleId = "app"}, "D", Consent{flags, requireConsent}};
  }

  void setConsent(bool granted) { Consent{flags, true}.store(granted); }

  /// The idempotency keys of the requests, in order.
  std::vector<std::string> sentKeys() const {
    std::vector<std::string> result;
    for (const auto& request : http->sent) result.push_back(request.headers.back().second);
    return result;
  }

  std::shared_ptr<FakeBackground> background = std::make_shared<FakeBackground>();
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualExecutor> main = std::make_shared<ManualExecutor>();
  std::shared_ptr<MemoryFlagStore> flags = std::make_shared<MemoryFlagStore>();
  std::shared_ptr<ExchangeLines> exchanges = std::make_shared<ExchangeLines>(background);
  CorvaneLogger logger{true, CorvaneLogLevel::debug};
  CorvaneAPI api{.baseURL = "https://api.test",
                 .http = http,
                 .lines = exchanges,
                 .background = background,
                 .logger = {},
                 .apiKey = "k",
                 .retryPolicy = CorvaneRetryPolicy::disabled};
  std::shared_ptr<ClientCore> core = std::make_shared<ClientCore>(MainThread(main), std::nullopt);
  std::shared_ptr<EventStore> storage = std::make_shared<EventStore>(flags, flags, "event_queue");
  std::shared_ptr<EventQueue> queue = std::make_shared<EventQueue>(storage, logger);
  std::vector<std::string> delivered;
};

}  // namespace corvane::test
