#include "flows/EventQueue.h"

#include "model/EventStoreCodec.h"
#include "support/CapturedOutput.h"
#include "support/FlowFixture.h"

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

constexpr std::string_view queueKey = "event_queue";
constexpr const char* storedQueue =
    R"([ {"id":"A","request":{"identifier":"app","name":"one","extra":1},"more":[]},
  {"id":"B","request":{"identifier":"app","name":"two","value":1.5,"currency":null}},
  {"id":"C","request":{"identifier":"app","name":"three"}} ])";

struct EventQueue : FlowFixture {
  void enqueue(const std::string& id, const std::string& name = "n", bool refusing = false) {
    background->refusing = refusing;
    const EventRequest request{.identifier = "app", .name = name};
    queue->enqueue({{.key = id, .body = encode(request)}}, *background, [] {});
    background->run();
  }

  Lines storedIds() const {
    Lines ids;
    const auto bytes = flags->dataForKey(queueKey);
    if (!bytes) return ids;
    for (const auto& entry : decodeQueue(*bytes)) ids.push_back(entry.id);
    return ids;
  }
};

TEST_F(EventQueue, ResendsInOrderAndKeepsWhatStillFails) {
  flags->setData(storedQueue, queueKey);
  http->respond(200, "");
  http->respond(500, "");
  http->respond(200, R"({"attributed":true})");
  CapturedOutput output;
  queue->flush(api);
  background->run();
  EXPECT_EQ(sentKeys(), (Lines{"A", "B", "C"}));
  EXPECT_EQ(flags->dataForKey(queueKey),
            R"([{"id":"B","request":{"identifier":"app","name":"two","value":1.5}}])");
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [DEBUG] Flushing 3 queued event(s)",
                                   "[Corvane] [DEBUG] Queued event two still failing"}));
}

TEST_F(EventQueue, SendsNothingWhenItIsEmptyClearedOrUnreadable) {
  queue->flush(api);
  flags->setData(storedQueue, queueKey);
  queue->clear();
  EXPECT_EQ(flags->dataForKey(queueKey), std::nullopt);
  for (const char* unreadable :
       {"{}", "[1]", R"([{"id":"A"},{"id":"B","request":{"identifier":"app","name":"n"}}])", "[", "\xFF"}) {
    flags->setData(unreadable, queueKey);
    queue->flush(api);
    EXPECT_EQ(flags->dataForKey(queueKey), unreadable);
  }
  background->run();
  EXPECT_TRUE(http->sent.empty());
  enqueue("D");
  EXPECT_EQ(storedIds(), Lines{"D"});
}

TEST_F(EventQueue, DestroyedBeforeItsFlushBeginsLeavesTheEntriesToAnother) {
  flags->setData(storedQueue, queueKey);
  queue->flush(api);
  queue.reset();
  background->run();
  EXPECT_TRUE(http->sent.empty());
  const auto another = std::make_shared<corvane::EventQueue>(storage, logger);
  another->flush(api);
  background->run();
  EXPECT_EQ(sentKeys(), Lines{"A"});
}

TEST_F(EventQueue, AFlushLeavesToAnotherWhatThatIsSendingAndHasItRetryWhatHadFailed) {
  flags->setData(storedQueue, queueKey);
  queue->flush(api);
  http->respond(500, "");
  background->run();
  EXPECT_EQ(sentKeys(), (Lines{"A", "B"}));
  enqueue("D");
  queue->flush(api);
  background->run();
  EXPECT_EQ(sentKeys(), (Lines{"A", "B", "D"}));
  for (int i = 0; i < 4; ++i) {
    http->respond(200, "");
    background->run();
  }
  EXPECT_EQ(sentKeys(), (Lines{"A", "B", "D", "C", "A"}));
  EXPECT_EQ(storedIds(), Lines());
}

TEST(EventStoreChanges, GiveTheSameQueueWhenTheyAreAppliedTwice) {
  EventStoreChanges changes({.items = 3, .bytes = 100});
  const StoredEvents before{{"A", "a"}, {"B", "b"}};
  changes.add({"C", "c"});
  changes.add({"D", "d"});
  changes.add({"too large", std::string(101, 'e')});
  changes.remove("B");
  const StoredEvents once = changes.appliedTo(before);
  EXPECT_EQ(once, (StoredEvents{{"A", "a"}, {"C", "c"}, {"D", "d"}}));
  EXPECT_EQ(changes.appliedTo(once), once);
  // The write had succeeded although it seemed to fail, and then the event was delivered.
  changes.remove("C");
  EXPECT_EQ(changes.appliedTo(once), (StoredEvents{{"A", "a"}, {"D", "d"}}));
  changes.clear();
  EXPECT_EQ(changes.appliedTo(once), StoredEvents());
}

TEST_F(EventQueue, ADenialDuringAFlushEmptiesItForGood) {
  flags->setData(storedQueue, queueKey);
  queue->flush(api);
  background->run();
  queue->clear();
  for (int i = 0; i < 3; ++i) http->respond(i == 1 ? 500 : 200, "");
  background->run();
  EXPECT_EQ(sentKeys(), (Lines{"A", "B", "C"}));
  EXPECT_EQ(flags->dataForKey(queueKey), std::nullopt);
}

TEST_F(EventQueue, StoresAnEventWhenTheBackgroundTakesNoMoreWork) {
  enqueue("A", "n", true);
  EXPECT_EQ(storedIds(), Lines{"A"});
}

TEST_F(EventQueue, WritesWhatWaitsWhenItsStoreIsDestroyed) {
  flags->held = true;
  enqueue("A");
  EXPECT_EQ(storedIds(), Lines());
  http->respond(500, "");
  queue->flush(api);
  background->exit();
  EXPECT_EQ(sentKeys(), Lines{"A"}) << "what waits in memory is part of the queue";
  flags->held = false;
  queue.reset();
  storage.reset();
  EXPECT_EQ(storedIds(), Lines{"A"});
}

TEST_F(EventQueue, DropsTheOldestBeyondItsBoundsInOneWrite) {
  for (int i = 0; i < 101; ++i) enqueue(std::to_string(i));
  EXPECT_EQ(flags->updates, 101);
  ASSERT_EQ(storedIds().size(), 100U);
  EXPECT_EQ(storedIds().front(), "1");
  EXPECT_EQ(storedIds().back(), "100");
  // The bound on bytes drops the oldest too; an event above it is not stored.
  enqueue("large", std::string(EventStore::maxBytes - 1000, 'x'));
  EXPECT_LT(storedIds().size(), 20U);
  enqueue("too large", std::string(EventStore::maxBytes, 'x'));
  EXPECT_EQ(storedIds().back(), "large");
}

TEST_F(EventQueue, ChangesWaitWhileTheFileIsHeldAndApplyOnceToWhatAnotherProcessLeftInIt) {
  const auto neighbour = std::make_shared<EventStore>(flags, flags, std::string(queueKey));
  for (const char* id : {"A", "B", "C"}) enqueue(id);
  flags->held = true;
  enqueue("D");
  storage->remove("B", *background);
  flags->held = false;
  neighbour->remove("A", *background);
  background->run();
  storage->writePending();
  EXPECT_EQ(storedIds(), (Lines{"C", "D"}));
  neighbour->remove("D", *background);
  background->run();
  enqueue("E");
  background->advance(EventStore::retryInterval);
  EXPECT_EQ(storedIds(), (Lines{"C", "E"}));
}

TEST_F(EventQueue, ReportsAnEventOnceItIsStoredOrWhenTheFileWasHeldForTooLong) {
  Lines reported;
  const auto store = [&](const std::string& id) {
    storage->store(
        {{.id = id, .json = R"({"id":")" + id + R"(","request":{"identifier":"app","name":"n"}})"}},
        *background, [&reported, id] { reported.push_back(id); });
    background->run();
  };
  flags->held = true;
  store("A");
  for (int retry = 1; retry < EventStore::maxRetries; ++retry) background->advance(EventStore::retryInterval);
  EXPECT_EQ(reported, Lines());
  store("B");
  background->advance(EventStore::retryInterval);
  EXPECT_EQ(reported, Lines{"A"});
  flags->held = false;
  background->advance(EventStore::retryInterval);
  EXPECT_EQ(reported, (Lines{"A", "B"}));
  EXPECT_EQ(storedIds(), (Lines{"A", "B"}));
  flags->held = true;
  store("C");
  EXPECT_EQ(reported.size(), 2U);
  background->exit();
  EXPECT_EQ(reported.size(), 3U) << "the last write of the process stores it";
}

}  // namespace
}  // namespace corvane::test
