#include "core/ClientCore.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/ManualExecutor.h"

namespace corvane {
namespace {

using test::ManualExecutor;
using Calls = std::vector<std::string>;

CorvaneAttribution verdict(std::int64_t id, CorvaneDeepLink::Text path = std::nullopt) {
  return {id, true, CorvaneDeepLink({}, {}, std::move(path), {}, {}, {}, {}, {}, {}, {})};
}

struct Core : ::testing::Test {
  void noteAttributions() {
    core->onAttribution(
        [this](const CorvaneAttribution& a) { calls.push_back("verdict " + std::to_string(*a.id())); });
  }
  void noteLinks(const std::string& name = "link") {
    core->onLink([this, name](const CorvaneDeepLink& link, CorvaneLinkSource source) {
      calls.push_back(name + " " + link.path() +
                      (source == CorvaneLinkSource::deferred ? " deferred" : " again"));
    });
  }
  Calls callsSoFar() {
    main->run();
    return std::exchange(calls, {});
  }

  std::shared_ptr<ManualExecutor> main = std::make_shared<ManualExecutor>();
  std::shared_ptr<ClientCore> core = std::make_shared<ClientCore>(MainThread(main), std::nullopt);
  Calls calls;
};

TEST_F(Core, ReplaysARestoredVerdictLaterAndThenCountsItAsDelivered) {
  core = std::make_shared<ClientCore>(MainThread(main), verdict(1));
  noteAttributions();
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), Calls{"verdict 1"});
  core->deliverAttribution(verdict(1), true);
  EXPECT_EQ(callsSoFar(), Calls());
  noteAttributions();
  EXPECT_EQ(callsSoFar(), Calls{"verdict 1"});
}

TEST_F(Core, RoutesADeferredLinkAfterTheVerdict) {
  noteAttributions();
  noteLinks();
  core->deliverAttribution(verdict(1, "/a"), true);
  core->deliverAttribution(verdict(2, "/b"), false);
  core->deliverAttribution(verdict(3, "/"), true);
  EXPECT_EQ(calls, (Calls{"verdict 1", "link /a deferred", "verdict 2", "verdict 3"}));
}

TEST_F(Core, ParksTheLatestDeferredLinkForTheNextRegistrationOnce) {
  core->deliverAttribution(verdict(1, "/a"), true);
  core->deliverAttribution(verdict(2, "/b"), true);
  core->onLink({});
  noteLinks();
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), Calls{"link /b deferred"});
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls());
}

TEST_F(Core, AVerdictReplayedBeforeItsDeliveryStillRoutesItsLinkOnceAndBehindIt) {
  noteLinks();
  core->setLastAttribution(verdict(1, "/a"));
  noteAttributions();
  core->deliverAttribution(verdict(1, "/a"), true);
  core->deliverAttribution(verdict(1, "/a"), true);
  EXPECT_EQ(callsSoFar(), (Calls{"verdict 1", "link /a deferred"}));
}

TEST_F(Core, ALinkCallbackRegisteredInsideTheAttributionCallbackGetsTheLinkQueuedOnce) {
  core->onAttribution([this](const CorvaneAttribution&) { noteLinks(); });
  core->deliverAttribution(verdict(1, "/a"), true);
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), Calls{"link /a deferred"});
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls());
}

TEST_F(Core, AnAttributionCallbackThatThrowsCostsTheHostNoLink) {
  core->onAttribution([](const CorvaneAttribution&) { throw std::runtime_error("verdict"); });
  EXPECT_THROW(core->deliverAttribution(verdict(1, "/a"), true), std::runtime_error);
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls{"link /a deferred"});
  EXPECT_THROW(core->deliverAttribution(verdict(2, "/b"), true), std::runtime_error);
  EXPECT_EQ(callsSoFar(), Calls{"link /b deferred"});
  core->deliverAttribution(verdict(2, "/b"), true);
  EXPECT_EQ(callsSoFar(), Calls());
}

TEST_F(Core, DeliversErrorsLaterAndUnchanged) {
  core->deliverError(CorvaneError::emptyResponse());
  core->onError([this](const std::exception& error) {
    const auto* known = dynamic_cast<const CorvaneError*>(&error);
    calls.push_back(known ? "error" : error.what());
  });
  core->deliverError(CorvaneError::invalidAPIKey());
  core->deliverError(CorvaneCancellationError());
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), (Calls{"error", "The operation was cancelled."}));
}

/// A host function whose copying and dying call back into the client.
struct Meddler {
  explicit Meddler(ClientCore* client) : core(client) {}
  Meddler(const Meddler& other) : core(other.core) { core->lastAttribution(); }
  ~Meddler() { core->lastAttribution(); }
  void operator()(const CorvaneAttribution&) const { core->onAttribution({}); }

  ClientCore* core;
};

TEST_F(Core, ACallbackMayCallBackEvenWhenItIsCopiedAndDies) {
  core->setLastAttribution(verdict(1));
  core->onAttribution(Meddler(core.get()));
  core->onAttribution(Meddler(core.get()));
  main->run();
  core->onAttribution(Meddler(core.get()));
  core->deliverAttribution(verdict(2), true);
  core->onAttribution({});
  main->run();
}

TEST_F(Core, TheCallbacksOfADyingClientDieOnTheMainThread) {
  auto held = std::make_shared<int>(0);
  core->onError([held](const std::exception&) {});
  core.reset();
  EXPECT_EQ(held.use_count(), 2);
  main->run();
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace corvane
