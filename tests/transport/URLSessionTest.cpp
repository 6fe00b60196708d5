#include "api/transport/URLSession.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Exchange.h"
#include "api/transport/EventAdmission.h"
#include "api/transport/ResponseReader.h"
#include "support/Gate.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using platform::URLSession;
using platform::URLSessionConfiguration;

constexpr int connectionsForEvents = platform::EventAdmission::overHTTP1;

TEST(URLSession, SendsTheRequestUnchanged) {
  LoopbackServer server(LoopbackResponse::of(200));
  const std::string body("{\"a\":\0}", 7);
  run(URLSession(within(30)), {.url = server.url("/v1/events?x=%20y"),
                               .method = "POST",
                               .headers = {{"Content-Type", "application/json"},
                                           {"X-Api-Key", ""},
                                           {"X-Blank", "  "},
                                           {"Idempotency-Key", "install:1;"}},
                               .body = body});
  run(URLSession(within(30)),
      {.url = server.url("/plain"), .method = "POST", .body = std::string(2'000'000, 'x')});
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].method, "POST");
  EXPECT_EQ(requests[0].target, "/v1/events?x=%20y");
  EXPECT_EQ(requests[0].body, body);
  EXPECT_EQ(requests[0].header("Content-Type"), "application/json");
  EXPECT_TRUE(requests[0].has("X-Api-Key"));
  EXPECT_EQ(requests[0].header("X-Api-Key"), "");
  EXPECT_TRUE(requests[0].has("X-Blank"));
  EXPECT_EQ(requests[0].header("Idempotency-Key"), "install:1;");
  EXPECT_FALSE(requests[1].has("Content-Type"));
  EXPECT_FALSE(requests[1].has("Expect"));
  EXPECT_EQ(requests[1].body.size(), 2'000'000U);
}

TEST(URLSession, ReturnsTheHeadersOfTheFinalResponseOnly) {
  LoopbackServer server(LoopbackResponse::raw(
      "HTTP/1.1 103 Early Hints\r\nLink: early\r\n\r\n"
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nX-Final: first\r\nx-final: last\r\nX-Blank: \r\n"
      "X-Folded :\tone \r\n \t two \r\n  \r\n\r\n2\r\nok\r\n0\r\nX-Trailer: late\r\nX-Final: later\r\n\r\n"));
  const auto result = response(run(URLSession(within(30)), {.url = server.url()}));
  EXPECT_EQ(result.body, "ok");
  EXPECT_EQ(result.headers.at("x-final"), "last");
  EXPECT_EQ(result.headers.at("x-blank"), "");
  EXPECT_EQ(result.headers.at("x-folded "), "one two");
  EXPECT_FALSE(result.headers.contains("link"));
  EXPECT_FALSE(result.headers.contains("x-trailer"));
}

TEST(URLSession, ReusesAConnectionAndReplacesAClosedOne) {
  int count = 0;
  LoopbackServer server([&count](const LoopbackRequest&) {
    LoopbackResponse next = LoopbackResponse::of(200);
    if (++count == 3) next.then = LoopbackResponse::Then::hangUp;
    return next;
  });
  const URLSession session(within(30));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(response(run(session, {.url = server.url()})).statusCode, 200);
  EXPECT_EQ(server.connectionsAccepted(), 1U);
  server.awaitNoConnection();
  EXPECT_EQ(response(run(session, {.url = server.url()})).statusCode, 200);
  EXPECT_EQ(server.connectionsAccepted(), 2U);
}

TEST(URLSession, AnInvalidResponseIsAFailure) {
  for (const char* bytes : {"garbage\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nshort", ""}) {
    LoopbackServer server(LoopbackResponse::raw(bytes));
    EXPECT_NE(failure(run(URLSession(within(30)), {.url = server.url()})), "") << bytes;
  }
  for (const char* cut :
       {"HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n", "HTTP/1.1 204 No Content\r\n",
        "HTTP/1.0 200 OK\r\nA: b\r\n", "HTTP/1.1 103 Early\r\n\r\nHTTP/1.1 200 OK\r\n"}) {
    LoopbackServer server(LoopbackResponse::raw(cut));
    EXPECT_EQ(failure(run(URLSession(within(30)), {.url = server.url()})),
              "the connection was closed before the end of the answer's headers")
        << cut;
  }
}

TEST(URLSession, NoFieldContinuesOneOfAnEarlierResponse) {
  const URLSession session(within(30));
  LoopbackServer first(LoopbackResponse::of(200, "", {{"A", "b"}}));
  LoopbackServer folded(LoopbackResponse::raw("HTTP/1.1 200 OK\r\n c\r\nX: y\r\n\r\n"));
  EXPECT_EQ(response(run(session, {.url = first.url()})).statusCode, 200);
  EXPECT_NE(failure(run(session, {.url = folded.url()})), "");
}

TEST(URLSession, RefusesAnInvalidRequestBeforeItSendsAnything) {
  LoopbackServer server(LoopbackResponse::of(200));
  const URLSession session(within(30));
  for (const char c : {'\r', '\n', '\0'}) {
    const std::string value = std::string("cv") + c + "Evil: yes";
    EXPECT_EQ(failure(run(session, {.url = server.url(), .headers = {{"X-Api-Key", value}}})),
              "the value of header X-Api-Key holds a line break or NUL");
    EXPECT_NE(failure(run(session, {.url = server.url("/" + value)})), "");
    EXPECT_NE(failure(run(session, {.url = server.url(), .headers = {{value, "1"}}})), "");
    EXPECT_NE(failure(run(session, {.url = server.url(), .method = "GET" + value})), "");
  }
  EXPECT_NE(failure(run(session, {.url = server.url(), .headers = {{"", "1"}}})), "");
  for (const char* url : {"file:///etc/hostname", "ftp://127.0.0.1/", ""}) {
    EXPECT_NE(failure(run(session, {.url = url})), "") << url;
  }
  EXPECT_EQ(server.connectionsAccepted(), 0U);
}

// Limits

TEST(URLSession, EndsABodyOverEightMiBAndKeepsTheStatus) {
  LoopbackServer server([](const LoopbackRequest& request) {
    return LoopbackResponse::of(429, std::string(std::stoul(request.target.substr(1)), 'x'), {{"A", "b"}});
  });
  const URLSession session(within(30));
  for (const int excess : {0, 1, 100'000}) {
    const auto result = response(run(session, {.url = server.url("/" + std::to_string(8388608 + excess))}));
    EXPECT_EQ(result.statusCode, 429);
    EXPECT_EQ(result.headers.at("a"), "b");
    EXPECT_EQ(result.body.size(), 8388608U);
    EXPECT_EQ(result.bodyIsTruncated, excess > 0);
  }
}

/// The beginning of a gzip stream: zeros, more than 2 KB of them for each repetition of its last 13 bytes.
std::string gzipBomb(int repetitions) {
  std::string bytes("\x1f\x8b\x08\0\0\0\0\0\0\x03\x63", 11);
  for (int i = 0; i < repetitions; ++i) bytes.append("\x18\x05\xa3\x60\x14\x8c\x82\x51\x30\x0a\x46\xc1\x28");
  return bytes;
}

TEST(URLSession, LimitsTheBodyAfterDecompression) {
  const std::string gzip(
      "\037\213\010\000\000\000\000\000\002\003\113\111\115\316\317\055"
      "\050\112\055\056\116\115\001\000\012\210\336\005\014\000\000\000",
      32);
  LoopbackServer server([&](const LoopbackRequest& request) {
    return LoopbackResponse::of(200, request.target == "/small" ? gzip : gzipBomb(5000),
                                {{"Content-Encoding", "gzip"}});
  });
  const URLSession session(within(30));
  EXPECT_EQ(response(run(session, {.url = server.url("/small")})).body, "decompressed");
  const auto bomb = response(run(session, {.url = server.url("/bomb")}));
  EXPECT_EQ(bomb.body.size(), platform::ResponseReader::maxBodySize);
  EXPECT_TRUE(bomb.bodyIsTruncated);
  EXPECT_NE(server.requests().front().header("Accept-Encoding").find("gzip"), std::string::npos);
}

/// Header lines: `prefix`, a number and `value`.
std::string lines(int count, const std::string& prefix, const std::string& value) {
  std::string text;
  for (int i = 0; i < count; ++i) text += prefix + std::to_string(i) + ": " + value + "\r\n";
  return text;
}

TEST(URLSession, LimitsTheHeadersInSizeAndNumberWithATextForEach) {
  const std::string start = "HTTP/1.1 200 OK\r\n";
  const std::string chunked = start + "Transfer-Encoding: chunked\r\n\r\n0\r\n";
  const std::pair<std::string, const char*> table[] = {
      {start + lines(300, "X-", std::string(1000, 'x')), "the answer's headers are larger than 256 KiB"},
      {start + "X-Long: " + std::string(110'000, 'x'), "a header line of the answer is too long"},
      {start + lines(60'000, "", ""), "the answer has more than 1,000 header lines"},
      {"HTTP/1.1 103 Early\r\n" + lines(600, "", "") + "\r\n" + start + lines(600, "", "") + "\r\n",
       "the answer has more than 1,000 header lines"},
      {chunked + lines(1000, "", "") + "\r\n", "the answer has more than 1,000 header lines"}};
  for (const auto& [bytes, text] : table) {
    LoopbackServer server(LoopbackResponse::raw(bytes));
    EXPECT_EQ(failure(run(URLSession(within(30)), {.url = server.url()})), text);
  }
  LoopbackServer server(LoopbackResponse::raw(start + lines(997, "", "") + "\r\n"));
  EXPECT_EQ(response(run(URLSession(within(30)), {.url = server.url()})).headers.size(), 997U);
}

// Time-outs

TEST(URLSessionConfiguration, TheShorterIntervalIsTheTimeoutWithinALeastAndAGreatest) {
  const auto milliseconds = [](double request, double resource) {
    return URLSessionConfiguration{.timeoutIntervalForRequest = request,
                                   .timeoutIntervalForResource = resource}
        .exchangeTimeout()
        .count();
  };
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr int longestInterval = std::numeric_limits<int>::max();
  EXPECT_EQ(milliseconds(10, 20), 10000);
  EXPECT_EQ(milliseconds(20, 10), 10000);
  EXPECT_EQ(milliseconds(0.0015, 10), 2);
  for (const double none : {1e-300, 0.0, -0.0, -5.0, -infinity, std::nan("")}) {
    EXPECT_EQ(milliseconds(none, 10), 1) << none;
    EXPECT_EQ(milliseconds(10, none), 1) << none;
  }
  EXPECT_EQ(milliseconds(infinity, 10), 10000);
  EXPECT_EQ(milliseconds(infinity, infinity), longestInterval);
  EXPECT_EQ(milliseconds(1e300, 1e300), longestInterval);
}

TEST(URLSession, LimitsSilenceToTheRequestsOwnIntervalOfAnyLength) {
  LoopbackServer silent(LoopbackResponse::silence());
  LoopbackServer server(LoopbackResponse::of(200));
  const URLSession session(within(600));
  const auto text = failure(run(session, {.url = silent.url(), .timeoutInterval = std::chrono::seconds(1)}));
  EXPECT_NE(text.find("too slow"), std::string::npos) << text;
  const URLRequest longest{.url = server.url(), .timeoutInterval = std::chrono::seconds::max()};
  EXPECT_EQ(response(run(session, longest)).statusCode, 200);
}

// Requests that wait for a connection

TEST(URLSession, BurstsUseFourConnectionsAndEightForEventsAndSucceed) {
  Gate gate;
  gate.close();
  LoopbackServer server([&](const LoopbackRequest&) {
    gate.pass();
    return LoopbackResponse::of(200);
  });
  const URLSession session(within(60));
  std::vector<Exchange> burst;
  for (int i = 0; i < 60; ++i) {
    const auto traffic = i % 2 == 0 ? Traffic::interactive : Traffic::event;
    burst.push_back(begin(session, {.url = server.url(), .traffic = traffic}));
  }
  server.awaitRequests(12);
  gate.open();
  for (Exchange& exchange : burst) EXPECT_EQ(response(exchange.result()).statusCode, 200);
  EXPECT_EQ(server.connectionsAccepted(), 12U);
}

TEST(URLSession, TheTimeoutDoesNotRunWhileARequestWaitsForAConnection) {
  LoopbackServer silent(LoopbackResponse::silence());
  const auto begun = [&](double seconds) {
    return begin(URLSession(within(seconds)), {.url = silent.url(), .traffic = Traffic::event});
  };
  std::vector<Exchange> active;
  for (int i = 2; i < connectionsForEvents; ++i) active.push_back(begun(60));
  // With the connection of `first`, `held` ends at 0.8 s; with the time before, at 0.5 s.
  Exchange first = begun(0.3);
  Exchange between = begun(0.65);
  Exchange held = begun(0.5);
  EXPECT_NE(failure(first.result()), "");
  EXPECT_NE(failure(held.result()), "");
  EXPECT_TRUE(between.hasEnded());
  for (const Exchange& exchange : active) exchange.cancel();
}

TEST(URLSession, ARequestWithoutAConnectionFailsWhenNoOtherOneProgresses) {
  LoopbackServer silent(LoopbackResponse::silence());
  std::vector<Exchange> active;
  for (int i = 0; i < connectionsForEvents; ++i) {
    active.push_back(begin(URLSession(within(60)), {.url = silent.url(), .traffic = Traffic::event}));
  }
  const std::string text =
      failure(run(URLSession(within(0.2)), {.url = silent.url(), .traffic = Traffic::event}));
  EXPECT_NE(text.find("without a connection"), std::string::npos) << text;
  for (const Exchange& exchange : active) exchange.cancel();
}

// Cancelling

TEST(URLSession, ACancelledExchangeClosesItsConnectionAndSendsNothingThatWasHeld) {
  LoopbackServer silent(LoopbackResponse::silence());
  LoopbackServer server(LoopbackResponse::of(200));
  const URLSession session(within(600));
  std::vector<Exchange> exchanges;
  for (int i = 0; i <= connectionsForEvents; ++i) {
    const std::string url = i == connectionsForEvents ? server.url() : silent.url();
    exchanges.push_back(begin(session, {.url = url, .traffic = Traffic::event}));
  }
  silent.awaitRequests(connectionsForEvents);
  for (auto exchange = exchanges.rbegin(); exchange != exchanges.rend(); ++exchange) {
    exchange->cancel();
    EXPECT_EQ(failure(exchange->result()), "cancelled");
  }
  silent.awaitNoConnection();
  EXPECT_TRUE(server.requests().empty());
}

}  // namespace
}  // namespace corvane::test
