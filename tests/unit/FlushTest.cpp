#include <gtest/gtest.h>

#include "flows/EventQueue.h"
#include "flows/EventQueueCodec.h"
#include "support/CapturedOutput.h"
#include "support/FakeBackground.h"
#include "support/MemoryStores.h"
#include "support/ScriptedHTTPClient.h"

namespace corvane {
namespace {

using test::CapturedOutput;
using test::FakeBackground;
using test::MemoryFlagStore;
using test::ScriptedHTTPClient;
using Lines = std::vector<std::string>;

constexpr std::string_view kKey = "event_queue";
constexpr const char* kStored =
    R"([ {"id":"A","request":{"identifier":"app","name":"one","extra":1},"more":[]},
  {"id":"B","request":{"identifier":"app","name":"two","value":1.5,"currency":null}},
  {"id":"C","request":{"identifier":"app","name":"three"}} ])";

struct Queue : ::testing::Test {
  std::vector<std::string> sentKeys() const {
    std::vector<std::string> result;
    for (const auto& request : http->sent) result.push_back(request.headers.back().second);
    return result;
  }

  std::shared_ptr<FakeBackground> background = std::make_shared<FakeBackground>();
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<MemoryFlagStore> store = std::make_shared<MemoryFlagStore>();
  CorvaneLogger logger{true, CorvaneLogLevel::debug};
  CorvaneAPI api{.baseURL = "https://api.test",
                 .http = http,
                 .background = background,
                 .logger = {},
                 .apiKey = "k",
                 .retryPolicy = CorvaneRetryPolicy::disabled};
  std::shared_ptr<EventQueue> queue = std::make_shared<EventQueue>(store, std::string(kKey), logger);
};

TEST_F(Queue, ResendsInOrderAndKeepsWhatStillFails) {
  store->setData(kStored, kKey);
  http->answer(200, "");
  http->answer(500, "");
  http->answer(200, R"({"attributed":true})");
  CapturedOutput output;
  queue->flush(api);
  background->run();
  EXPECT_EQ(sentKeys(), (std::vector<std::string>{"A", "B", "C"}));
  const auto left = decodeQueue(store->dataForKey(kKey).value());
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].id, "B");
  EXPECT_EQ(left[0].request.value, 1.5);
  EXPECT_EQ(decodeQueue(encodeQueue(left)), left);
  EXPECT_EQ(output.lines(), (Lines{"[Corvane] [DEBUG] Flushing 3 queued event(s)",
                                   "[Corvane] [DEBUG] Queued event two still failing"}));
}

TEST_F(Queue, SendsNothingWhenItIsEmptyClearedOrUnreadable) {
  queue->flush(api);
  store->setData(kStored, kKey);
  queue->clear();
  EXPECT_EQ(store->dataForKey(kKey), std::nullopt);
  for (const char* unreadable : {"{}", "[1]", R"([{"id":"A"}])", "[", "\xFF"}) {
    store->setData(unreadable, kKey);
    queue->flush(api);
    EXPECT_EQ(store->dataForKey(kKey), unreadable);
  }
  background->run();
  EXPECT_TRUE(http->sent.empty());
}

TEST_F(Queue, GoneBeforeTheFlushBeginsItSendsNothingAndKeepsEverything) {
  store->setData(kStored, kKey);
  queue->flush(api);
  queue.reset();
  background->run();
  EXPECT_TRUE(http->sent.empty());
  EXPECT_EQ(decodeQueue(store->dataForKey(kKey).value()).size(), 3U);
}

}  // namespace
}  // namespace corvane
