#include "api/CorvaneAPI.h"

#include <cmath>

#include "async/BackgroundTask.h"
#include "support/CapturedOutput.h"
#include "support/FlowFixture.h"

namespace corvane::test {
namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using Waits = std::vector<std::chrono::nanoseconds>;

constexpr const char* ackBody = R"({"id":7,"attributed":true})";

/// Opens have the retry loop, events have the line. Both obey the same rules.
enum class Way { open, event };
constexpr Way bothWays[] = {Way::open, Way::event};

struct CorvaneAPI : FlowFixture {
  void SetUp() override {
    api.logger = logger;
    api.retryPolicy = CorvaneRetryPolicy(3, 0.5, 8);
  }

  std::string path(Way way) const { return way == Way::open ? "/v1/events/open" : "/v1/events"; }

  /// Begins the operation; the result cancels it.
  std::function<void()> begin(Way way) {
    succeeded = false;
    failure.reset();
    return way == Way::open ? beginOpen() : beginEvent();
  }

  std::function<void()> beginOpen() {
    return spawn(background, [this]() -> asio::awaitable<void> {
      try {
        OpenRequest open{"app", {}, {}, {}, {}, {}};
        std::optional<std::string> key = "key-1";
        const EventResultDTO result = co_await api.sendOpen(std::move(open), std::move(key));
        succeeded = result.attributed;
      } catch (...) {
        failure = currentFailure();
      }
    });
  }

  std::function<void()> beginEvent() {
    auto done = [this](const OutgoingEvent&, EventLine::End ended) {
      const EventEnd end = interpretEvent(std::move(ended));
      succeeded = std::holds_alternative<EventAckDTO>(end);
      if (const auto* error = std::get_if<CorvaneError>(&end)) failure = *error;
      if (std::holds_alternative<CorvaneCancellationError>(end)) failure = CorvaneCancellationError();
    };
    try {
      const auto id =
          api.sendEvent(api.makeEventRoute(nullptr), event, "key-1", EventLine::Kind::first, done);
      return [this, id] { exchanges->events->cancel(id); };
    } catch (...) {
      failure = currentFailure();
      return [] {};
    }
  }

  void sendToItsEnd(Way way) {
    begin(way);
    background->run();
    while (!succeeded && !failure && !background->waits.empty() && !http->isWaiting())
      background->advance(1s);
  }

  EventRequest event{.identifier = "app", .name = "n"};
  bool succeeded = false;
  std::optional<Failure> failure;
};

TEST_F(CorvaneAPI, PostsWithItsKeys) {
  http->respond(200, ackBody);
  sendToItsEnd(Way::event);
  const URLRequest& post = http->sent.at(0);
  EXPECT_EQ(post.method + " " + post.url, "POST https://api.test/v1/events");
  EXPECT_EQ(post.headers,
            (std::vector<URLRequest::Header>{
                {"Content-Type", "application/json"}, {"X-Api-Key", "k"}, {"Idempotency-Key", "key-1"}}));
  EXPECT_EQ(post.body, R"({"identifier":"app","name":"n"})");
  EXPECT_TRUE(succeeded);
}

TEST_F(CorvaneAPI, RefusesBeforeSendingWhatCannotBeSent) {
  event.value = std::nan("");
  sendToItsEnd(Way::event);
  EXPECT_EQ(descriptionOf(failure.value()),
            "Failed to decode response: Failed to encode request: value: not a finite number");
  api.baseURL = "not a url";
  for (const Way way : bothWays) {
    sendToItsEnd(way);
    EXPECT_EQ(failure, Failure(CorvaneError::invalidURL("not a url" + path(way))));
  }
  EXPECT_TRUE(http->sent.empty());
}

TEST_F(CorvaneAPI, ReadsTheFinalResponse) {
  const std::pair<HTTPResponse, CorvaneError> table[] = {
      {{401, "x"}, CorvaneError::invalidAPIKey()},
      {{403, "no"}, CorvaneError::server(403, "no")},
      {{404, ""}, CorvaneError::server(404, "")},
      {{302, "\xFF"}, CorvaneError::server(302, std::nullopt)},
      {{-1, "?"}, CorvaneError::server(-1, "?")},
      {{200, "{}"}, CorvaneError::decoding("attributed: expected a boolean")},
      // Truncated.
      {{401, "x", true}, CorvaneError::invalidAPIKey()},
      {{400, "a\u00e9\xE2\x82", true}, CorvaneError::server(400, "a\u00e9")},
      {{400, "a\xC3", false}, CorvaneError::server(400, std::nullopt)},
      {{200, R"({"attributed":true})", true}, CorvaneError::decoding("the body is too large")}};
  for (const Way way : bothWays) {
    for (const auto& [answer, error] : table) {
      http->respond(answer);
      sendToItsEnd(way);
      EXPECT_EQ(failure, Failure(error)) << answer.statusCode << answer.body;
    }
  }
  EXPECT_EQ(http->sent.size(), 2 * std::size(table));
  EXPECT_TRUE(background->waits.empty());

  http->respond(200, "");
  sendToItsEnd(Way::event);
  EXPECT_TRUE(succeeded);
}

TEST_F(CorvaneAPI, RetriesTheSameBytesAfterTheDelaysOfThePolicy) {
  for (const Way way : bothWays) {
    CapturedOutput output;
    http->sent.clear();
    background->waits.clear();
    http->respond(503, "");
    http->respond(CorvaneError::transport("reset"));
    http->respond(200, ackBody);
    sendToItsEnd(way);
    EXPECT_TRUE(succeeded);
    EXPECT_EQ(background->waits, (Waits{500ms, 1s}));
    EXPECT_EQ(output.lines(),
              (Lines{"[Corvane] [DEBUG] POST " + path(way),
                     "[Corvane] [DEBUG] Retrying " + path(way) + " after 0.50s (status 503, attempt 1)",
                     "[Corvane] [DEBUG] Transport error, retrying (attempt 2)"}));
    for (const URLRequest& request : http->sent) {
      EXPECT_EQ(request.headers, http->sent[0].headers);
      EXPECT_EQ(request.body, http->sent[0].body);
    }
  }
}

TEST_F(CorvaneAPI, RespectsRetryAfterUpToTheLongestDelay) {
  const std::tuple<int, const char*, Waits, const char*> table[] = {
      {429, "3", {3s}, "3.00s (status 429"},
      {503, "120", {8s}, "8.00s (status 503"},
      {503, "soon", {500ms}, "0.50s (status 503"},
      {500, "0", {}, "0.00s (status 500"},
      {500, "-5", {}, "-5.00s (status 500"}};
  for (const auto& [status, retryAfter, waits, line] : table) {
    CapturedOutput output;
    background->waits.clear();
    http->respond(status, "", {{"retry-after", retryAfter}});
    http->respond(200, ackBody);
    sendToItsEnd(Way::open);
    EXPECT_TRUE(succeeded) << retryAfter;
    EXPECT_EQ(background->waits, waits) << retryAfter;
    EXPECT_EQ(output.lines().at(1),
              "[Corvane] [DEBUG] Retrying /v1/events/open after " + std::string(line) + ", attempt 1)");
  }
}

TEST_F(CorvaneAPI, TheLastAttemptIsFinal) {
  for (const Way way : bothWays) {
    api.retryPolicy.maxAttempts = 3;
    http->sent.clear();
    for (int i = 0; i < 3; ++i) http->respond(503, "busy");
    sendToItsEnd(way);
    EXPECT_EQ(failure, Failure(CorvaneError::server(503, "busy")));
    EXPECT_EQ(http->sent.size(), 3U);

    http->respond(CorvaneError::invalidURL("not a transport failure"));
    sendToItsEnd(way);
    EXPECT_EQ(failure, Failure(CorvaneError::invalidURL("not a transport failure")));
    EXPECT_EQ(http->sent.size(), 4U);

    api.retryPolicy.maxAttempts = 0;
    http->respond(CorvaneError::transport("down"));
    sendToItsEnd(way);
    EXPECT_EQ(failure, Failure(CorvaneError::transport("down")));
    EXPECT_EQ(http->sent.size(), 5U);
  }
}

TEST_F(CorvaneAPI, ACancelledRequestFailsAtTheStepThatItHasReachedAndIsNotSentAgain) {
  const struct {
    CorvaneRetryPolicy policy;
    std::optional<int> answered;  // before the cancellation; without one, it comes during the exchange
    Failure expected;
  } table[] = {{CorvaneRetryPolicy(3, 0.5, 8), 503, CorvaneCancellationError()},
               {CorvaneRetryPolicy(3, 0.5, 8), {}, CorvaneCancellationError()},
               {CorvaneRetryPolicy(3, 0, 8), {}, CorvaneCancellationError()},
               {CorvaneRetryPolicy::disabled, {}, CorvaneError::transport("cancelled")}};
  for (const Way way : bothWays) {
    for (const auto& row : table) {
      api.retryPolicy = row.policy;
      http->sent.clear();
      if (row.answered) http->respond(*row.answered, "");
      const auto cancel = begin(way);
      background->run();
      cancel();
      background->run();
      EXPECT_EQ(failure, row.expected);
      EXPECT_EQ(http->sent.size(), 1U);
    }
    const auto cancel = begin(way);
    background->run();
    http->respond(200, ackBody);
    cancel();
    cancel();
    background->run();
    EXPECT_TRUE(succeeded) << "the response came before the cancellation";
  }
}

}  // namespace
}  // namespace corvane::test
