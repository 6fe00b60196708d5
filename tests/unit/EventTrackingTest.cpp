#include "flows/EventTracking.h"

#include <limits>

#include "model/EventStoreCodec.h"
#include "support/CapturedOutput.h"
#include "support/FlowFixture.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

struct EventTracking : FlowFixture {
  std::shared_ptr<corvane::EventTracking> makeFlow(bool requireConsent = false) const {
    return std::make_shared<corvane::EventTracking>(
        corvane::EventTracking::Collaborators{parts(requireConsent), queue});
  }

  EventQueueEntries stored() const {
    const auto bytes = flags->dataForKey("event_queue");
    return bytes ? decodeQueue(*bytes) : EventQueueEntries();
  }
};

TEST_F(EventTracking, SendsEachEventUnderItsOwnKeyWithAnUpperCaseCurrency) {
  const auto flow = makeFlow();
  http->respond(200, R"({"id":7,"attributed":true})");
  http->respond(200, "");
  const auto task = flow->trackEventAsync({"buy", 9.99, "straße i"});
  const auto bare = flow->trackEventAsync({"signup", {}, {}});
  run();
  EXPECT_EQ(task.get(), CorvaneEventResult(7, true));
  EXPECT_EQ(bare.get(), CorvaneEventResult(std::nullopt, false));
  EXPECT_EQ(http->sent[0].body, R"({"currency":"STRASSE I","deviceId":"D","identifier":"app","name":"buy",)"
                                R"("platform":"iOS","value":9.99})");
  EXPECT_EQ(http->sent[1].body, R"({"deviceId":"D","identifier":"app","name":"signup","platform":"iOS"})");
  EXPECT_NE(sentKeys()[0], sentKeys()[1]);
}

TEST_F(EventTracking, AFailedEventIsResentUnderItsKeyAfterTheNextSuccess) {
  const auto flow = makeFlow();
  http->respond(503, "x");
  CapturedOutput output;
  const auto failed = flow->trackEventAsync({"a\nb", 1.5, "eur"});
  run();
  EXPECT_THROW(failed.get(), CorvaneError);
  const std::string description = CorvaneError::server(503, "x").errorDescription();
  EXPECT_EQ(delivered, Lines{description});
  ASSERT_EQ(stored().size(), 1U);
  EXPECT_EQ(stored()[0].id, sentKeys()[0]);
  EXPECT_EQ(encode(stored()[0].request), http->sent[0].body);

  http->respond(200, "");
  http->respond(200, "");
  flow->trackEvent({"next", {}, {}});
  run();
  EXPECT_EQ(sentKeys()[2], sentKeys()[0]);
  EXPECT_EQ(http->sent[2].body, http->sent[0].body);
  EXPECT_TRUE(stored().empty());
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [WARN] Event 'a\\nb' failed; queued for retry: " + description,
                                   "[Corvane] [DEBUG] Flushing 1 queued event(s)"}));
}

TEST_F(EventTracking, WithoutConsentAnEventIsDropped) {
  const auto flow = makeFlow(true);
  CapturedOutput output;
  const auto task = flow->trackEventAsync({"buy", {}, {}});
  run();
  EXPECT_EQ(task.get(), CorvaneEventResult(std::nullopt, false));
  EXPECT_TRUE(http->sent.empty());
  EXPECT_EQ(output.lines(), Lines{"[Corvane] [DEBUG] Event 'buy' dropped — consent not granted"});
}

TEST_F(EventTracking, AnEventInFlightAtADenialIsStillQueuedWhenItFails) {
  const auto flow = makeFlow(true);
  setConsent(true);
  flow->trackEvent({"buy", {}, {}});
  background->run();
  ASSERT_TRUE(http->isWaiting());
  setConsent(false);
  queue->clear();
  http->respond(CorvaneError::transport("down"));
  run();
  EXPECT_EQ(stored().size(), 1U);
}

TEST_F(EventTracking, AnEventWithoutAJSONFormFailsAndDropsNoOtherEntry) {
  const auto flow = makeFlow();
  for (int i = 0; i < 2; ++i) http->respond(CorvaneError::transport("down"));
  flow->trackEvent({"one", {}, {}});
  flow->trackEvent({"odd", std::numeric_limits<double>::infinity(), {}});
  flow->trackEvent({"\xFF", {}, {}});
  flow->trackEvent({"odd", {}, "\xFF"});
  flow->trackEvent({"two", {}, {}});
  run();
  EXPECT_EQ(http->sent.size(), 2U);
  EXPECT_EQ(delivered.size(), 5U);
  ASSERT_EQ(stored().size(), 2U);
  EXPECT_EQ(stored()[0].request.name, "one");
  EXPECT_EQ(stored()[1].request.name, "two");
}

TEST_F(EventTracking, EventsThatAreCancelledOrEndedByTheExitAreQueued) {
  api.retryPolicy = CorvaneRetryPolicy(5, 1, 60);
  const auto flow = makeFlow();
  for (int i = 0; i < 3; ++i) http->respond(503, "");
  const auto cancelled = flow->trackEventAsync({"cancelled", {}, {}});
  const auto cutOff = flow->trackEventAsync({"cut off", {}, {}});
  flow->trackEvent({"also", {}, {}});
  background->run();
  cancelled.cancel();
  run();
  EXPECT_THROW(cancelled.get(), CorvaneCancellationError);
  EXPECT_EQ(delivered, Lines{CorvaneCancellationError().what()});
  flags->updates = 0;
  exchanges->events->close("the process is exiting");
  background->exit();
  main->run();
  storage->writePending();
  EXPECT_THROW(cutOff.get(), CorvaneError);
  ASSERT_EQ(stored().size(), 3U);
  EXPECT_EQ(stored()[0].request.name, "cancelled");
  EXPECT_EQ(flags->updates, 1) << "all failures at the exit share one transaction";
}

TEST_F(EventTracking, AFailedEventIsStoredBeforeItsErrorIsDelivered) {
  struct Witness : ManualExecutor {
    explicit Witness(const FlagStore& watched) : flags(watched) {}
    void post(std::function<void()>) override { storedThen = flags.dataForKey("event_queue").has_value(); }
    const FlagStore& flags;
    bool storedThen = false;
  };
  const auto witness = std::make_shared<Witness>(*flags);
  core = std::make_shared<ClientCore>(MainThread(witness), std::nullopt);
  noteDeliveries();
  makeFlow()->trackEventAsync({"purchase", {}, {}});
  http->respond(500, "");
  run();
  EXPECT_TRUE(witness->storedThen);
  EXPECT_EQ(stored().size(), 1U) << "an awaitable event needs no client";
}

}  // namespace
}  // namespace corvane::test
