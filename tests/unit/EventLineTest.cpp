#include "api/EventLine.h"

#include <gtest/gtest.h>

#include "support/FakeBackground.h"
#include "support/ScriptedHTTPClient.h"

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

constexpr std::size_t capacity = 8;

struct EventLine : ::testing::Test {
  EventLine() { route = makeRoute(CorvaneRetryPolicy(2, 0.5, 8)); }

  /// Ends the attempts that still wait: each owns the executor that owns it.
  ~EventLine() override {
    line->close("over");
    while (http->isWaiting()) {
      http->respond(400, "");
      background->run();
    }
    background->run();
  }

  std::shared_ptr<const EventRoute> makeRoute(CorvaneRetryPolicy policy) const {
    return std::make_shared<const EventRoute>(EventRoute{.http = http,
                                                         .url = "https://api.test/v1/events",
                                                         .headers = {},
                                                         .retryPolicy = policy,
                                                         .requestTimeout = 10s,
                                                         .logger = {},
                                                         .queue = this});
  }

  corvane::EventLine::ID add(const std::string& name,
                             corvane::EventLine::Kind kind = corvane::EventLine::Kind::first) {
    return line->add(route, {.key = name, .body = "{}"}, kind, [this](OutgoingEvent event, auto end) {
      (std::holds_alternative<HTTPResponse>(end) ? answered : failed).push_back(event.key);
      if (const auto* error = std::get_if<CorvaneError>(&end)) lastError = error->message();
    });
  }

  /// Eight events in flight and those in line.
  void addBehindAFullTransport(const Names& names) {
    for (std::size_t i = 0; i < capacity; ++i) add("first " + std::to_string(i));
    for (const std::string& name : names) add(name);
    background->run();
  }

  void respond(int status, std::size_t count = 1) {
    for (std::size_t i = 0; i < count; ++i) {
      http->respond(status, "");
      background->run();
    }
  }

  Names sentSince(std::size_t first) const {
    Names keys;
    for (std::size_t i = first; i < http->sent.size(); ++i)
      keys.push_back(http->sent[i].headers.back().second);
    return keys;
  }

  std::shared_ptr<FakeBackground> background = std::make_shared<FakeBackground>();
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<corvane::EventLine> line = std::make_shared<corvane::EventLine>(background);
  std::shared_ptr<const EventRoute> route;
  Names answered;
  Names failed;
  std::string lastError;
};

TEST_F(EventLine, SendsAsManyAtOnceAsTheTransportTakesAndTheOthersInTheOrderOfTheirFirstAttempts) {
  addBehindAFullTransport({"a", "b"});
  EXPECT_EQ(http->sent.size(), capacity);
  respond(503);  // the first event is retried before those that came later
  background->advance(500ms);
  add("stored", corvane::EventLine::Kind::resend);
  background->run();
  EXPECT_EQ(sentSince(capacity), Names{"a"}) << "an event between two attempts holds up no other";
  respond(200, 3);
  EXPECT_EQ(sentSince(capacity), (Names{"a", "stored", "first 0", "b"}));
  respond(200, capacity);
  EXPECT_EQ(answered.size(), capacity + 3);
}

TEST_F(EventLine, SaysWhetherAnEventIsAlone) {
  add("alone");
  background->run();
  EXPECT_EQ(http->sent.at(0).traffic, Traffic::loneEvent);
  add("second");
  background->run();
  EXPECT_EQ(http->sent.at(1).traffic, Traffic::event);
  respond(200, 2);
  add("one of two");
  add("the other");
  background->run();
  EXPECT_EQ(http->sent.at(2).traffic, Traffic::event);
}

TEST_F(EventLine, WaitsAsLongAsResponsesArriveAndForTheTimeoutAfterTheLastOne) {
  addBehindAFullTransport(Names(20, "a"));
  for (int i = 0; i < 10; ++i) {
    for (int second = 0; second < 8; ++second) background->advance(1s);
    respond(400);
  }
  EXPECT_EQ(failed, Names());
  const std::size_t before = http->sent.size();
  for (int second = 0; second < 9; ++second) background->advance(1s);
  add("late");
  background->run();
  EXPECT_EQ(failed, Names());
  // Each fails twice, half a second apart, without being sent.
  for (int second = 0; second < 3; ++second) background->advance(500ms);
  EXPECT_EQ(failed, Names());
  for (int second = 0; second < 10; ++second) background->advance(1s);
  EXPECT_EQ(failed, Names(10, "a")) << "the one that came late has waited once";
  EXPECT_EQ(lastError, "not sent: no request got a response for 10.00 s");
  EXPECT_EQ(http->sent.size(), before);
}

TEST_F(EventLine, TimeInWhichTheProcessDidNotRunDoesNotCount) {
  addBehindAFullTransport({"a"});
  background->advance(24h);
  for (int second = 0; second < 6; ++second) background->advance(1s);
  respond(400);
  EXPECT_EQ(failed, Names());
  EXPECT_EQ(sentSince(capacity), Names{"a"});
}

TEST_F(EventLine, CancelsAndDropsWhatWaits) {
  addBehindAFullTransport({"resent first"});
  const auto cancelled = add("cancelled");
  add("stored", corvane::EventLine::Kind::resend);
  add("unsent");
  background->run();
  line->cancel(cancelled);
  EXPECT_EQ(failed, Names{"cancelled"});
  EXPECT_EQ(line->newest(this, 2).size(), 2U);
  EXPECT_EQ(line->newest(this, 2)[1].key, "unsent");
  EXPECT_EQ(line->newest(this, 100).size(), capacity + 2) << "in flight too, but nothing that is stored";
  line->dropUnsent(nullptr);
  EXPECT_EQ(failed.size(), 1U) << "of another queue";
  line->dropUnsent(this);
  EXPECT_EQ(failed, (Names{"cancelled", "resent first", "unsent"}));
  respond(200, capacity + 1);
  EXPECT_EQ(answered.back(), "stored");
}

TEST_F(EventLine, FailsEverythingWhenItIsClosed) {
  addBehindAFullTransport({"sent", "a"});
  respond(503);
  line->close("closed");
  background->run();
  EXPECT_EQ(failed, Names{"a"});
  EXPECT_EQ(lastError, "closed");
  EXPECT_EQ(answered, Names{"first 0"}) << "its last outcome is final";
  add("later");
  background->run();
  EXPECT_EQ(failed.size(), 2U);
}

}  // namespace
}  // namespace corvane::test
