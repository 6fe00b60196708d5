#include "core/ClientCore.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "core/Consent.h"
#include "foundation/StoreKeys.h"
#include "support/ManualExecutor.h"
#include "support/MemoryStores.h"

namespace corvane::test {
namespace {

using Calls = std::vector<std::string>;

CorvaneAttribution attribution(std::int64_t id, CorvaneDeepLink::Text path = std::nullopt) {
  return {id, true, CorvaneDeepLink({}, {}, std::move(path), {}, {}, {}, {}, {}, {}, {})};
}

struct ClientCore : ::testing::Test {
  void restore(std::optional<CorvaneAttribution> stored) {
    core = std::make_shared<corvane::ClientCore>(MainThread(main), std::move(stored));
  }
  void noteAttributions() {
    core->onAttribution(
        [this](const CorvaneAttribution& a) { calls.push_back("attribution " + std::to_string(*a.id())); });
  }
  void noteLinks() {
    core->onLink([this](const CorvaneDeepLink& link, CorvaneLinkSource source) {
      calls.push_back(link.path() + (source == CorvaneLinkSource::deferred ? " deferred" : " reengagement"));
    });
  }
  void deliver(std::int64_t id, const char* path = nullptr, bool routeDeepLink = true) {
    core->deliverAttribution(attribution(id, path ? CorvaneDeepLink::Text(path) : std::nullopt),
                             routeDeepLink);
  }
  Calls callsSoFar() {
    main->run();
    return std::exchange(calls, {});
  }

  std::shared_ptr<ManualExecutor> main = std::make_shared<ManualExecutor>();
  std::shared_ptr<corvane::ClientCore> core =
      std::make_shared<corvane::ClientCore>(MainThread(main), std::nullopt);
  Calls calls;
};

TEST_F(ClientCore, ARestoredAttributionCountsAsDeliveredOnlyAfterItsReplayWhichComesLater) {
  restore(attribution(1));
  noteAttributions();
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), Calls{"attribution 1"});
  deliver(1);
  EXPECT_EQ(callsSoFar(), Calls());
  noteAttributions();
  EXPECT_EQ(callsSoFar(), Calls{"attribution 1"});

  restore(attribution(1, "/a"));
  noteLinks();
  deliver(1, "/a");
  EXPECT_EQ(callsSoFar(), Calls{"/a deferred"});
}

TEST_F(ClientCore, RoutesADeferredLinkWithADestinationAfterTheAttribution) {
  noteAttributions();
  noteLinks();
  deliver(1, "/a");
  deliver(2, "/b", false);
  deliver(3, "/");
  deliver(4, "");
  deliver(5);
  EXPECT_EQ(calls, (Calls{"attribution 1", "/a deferred", "attribution 2", "attribution 3", "attribution 4",
                          "attribution 5"}));
}

TEST_F(ClientCore, ParksTheLatestDeferredLinkForTheNextRegistrationOnce) {
  deliver(1, "/a");
  deliver(2, "/b");
  core->onLink({});
  noteLinks();
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), Calls{"/b deferred"});
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls());
  for (const char* path : {"/c", "/d"}) core->parkDeferredLink(*attribution(3, path).deepLink());
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls{"/d deferred"});
}

TEST_F(ClientCore, AnAttributionReplayedBeforeItsDeliveryStillRoutesItsLinkOnceAndAfterIt) {
  noteLinks();
  core->setLastAttribution(attribution(1, "/a"));
  noteAttributions();
  deliver(1, "/a");
  deliver(1, "/a");
  EXPECT_EQ(callsSoFar(), (Calls{"attribution 1", "/a deferred"}));
  // Replayed again after its delivery, nothing is left to route.
  noteAttributions();
  deliver(1, "/a");
  EXPECT_EQ(callsSoFar(), Calls{"attribution 1"});
}

TEST_F(ClientCore, ALinkCallbackRegisteredInsideTheAttributionCallbackGetsTheLinkLaterAndOnce) {
  core->onAttribution([this](const CorvaneAttribution&) { noteLinks(); });
  deliver(1, "/a");
  EXPECT_EQ(calls, Calls());
  EXPECT_EQ(callsSoFar(), Calls{"/a deferred"});
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls());
}

TEST_F(ClientCore, ALinkIsNotLostAndNeitherExceptionIsWhenBothCallbacksThrow) {
  core->onAttribution([](const CorvaneAttribution&) { throw std::runtime_error("attribution"); });
  EXPECT_THROW(deliver(1, "/a"), std::runtime_error);
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls{"/a deferred"});
  EXPECT_THROW(deliver(2, "/b"), std::runtime_error);
  EXPECT_EQ(callsSoFar(), Calls{"/b deferred"});
  deliver(2, "/b");
  EXPECT_EQ(callsSoFar(), Calls());
  core->onLink([](const CorvaneDeepLink&, CorvaneLinkSource) { throw std::logic_error("link"); });
  EXPECT_THROW(deliver(3, "/c"), std::runtime_error);
  EXPECT_THROW(main->run(), std::logic_error);
}

TEST_F(ClientCore, AReengagementLinkIsDeliveredAtOnceOrDropped) {
  const CorvaneDeepLink link = *attribution(1, "/a").deepLink();
  core->deliverReengagementLink(link);
  noteLinks();
  EXPECT_EQ(callsSoFar(), Calls());
  core->deliverReengagementLink(link);
  core->deliverReengagementLink(*attribution(2, "").deepLink());
  EXPECT_EQ(calls, (Calls{"/a reengagement", "/ reengagement"}));
}

TEST_F(ClientCore, DeliversErrorsLaterAndUnchanged) {
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

/// A host function that calls the client back when it is called, copied or destroyed: with a lock held, each
/// of these would never return.
struct Reentrant {
  explicit Reentrant(corvane::ClientCore* client) : core(client) {}
  Reentrant(const Reentrant& other) : core(other.core) { core->lastAttribution(); }
  ~Reentrant() { core->lastAttribution(); }
  void operator()(const auto&...) const { core->onAttribution({}); }

  corvane::ClientCore* core;
};

TEST_F(ClientCore, CallbacksMayCallTheClientWhenTheyAreCalledCopiedOrDestroyed) {
  for (int i = 0; i < 2; ++i) {
    core->onAttribution(Reentrant(core.get()));
    core->onLink(Reentrant(core.get()));
    core->onError(Reentrant(core.get()));
  }
  core->setLastAttribution(attribution(1));
  core->onAttribution(Reentrant(core.get()));
  core->deliverError(CorvaneError::emptyResponse());
  core->deliverReengagementLink(*attribution(1, "/a").deepLink());
  main->run();
  core->onAttribution(Reentrant(core.get()));
  deliver(2, "/a");
  core->onAttribution({});
  core->onLink({});
  core->onError({});
  main->run();
}

TEST_F(ClientCore, TheCallbacksOfADestroyedClientAreDestroyedOnTheMainThread) {
  auto held = std::make_shared<int>(0);
  core->onError([held](const std::exception&) {});
  core.reset();
  EXPECT_EQ(held.use_count(), 2);
  main->run();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Consent, IsNeededOnlyWhereItIsRequiredAndTheLatestChoiceCounts) {
  const auto flags = std::make_shared<MemoryFlagStore>();
  const corvane::Consent optional{flags, false}, required{flags, true};
  EXPECT_EQ(required.consentState(), ConsentState::notSet);
  EXPECT_FALSE(required.hasConsent());
  EXPECT_TRUE(optional.hasConsent());
  for (const bool granted : {true, false}) {
    required.store(granted);
    EXPECT_EQ(required.consentState(), granted ? ConsentState::granted : ConsentState::denied);
    EXPECT_EQ(required.hasConsent(), granted);
    EXPECT_TRUE(optional.hasConsent()) << "a denial counts only where consent is required";
  }
}

}  // namespace
}  // namespace corvane::test
