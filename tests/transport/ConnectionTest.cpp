#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "Exchange.h"
#include "Nginx.h"
#include "Relay.h"
#include "support/Gate.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using platform::Transport;
using platform::URLSession;

platform::URLSessionConfiguration trusting(const std::string& certificateFile, double seconds = 30) {
  auto configuration = within(seconds);
  configuration.certificateAuthorityFile = certificateFile;
  return configuration;
}

URLRequest event(const std::string& url, Traffic traffic = Traffic::event) {
  return {.url = url, .method = "POST", .body = "{}", .traffic = traffic};
}

TEST(Connections, OnlyALoneEventTakesAConnectionOfOthers) {
  LoopbackServer server(LoopbackResponse::of(200));
  Transport transport;
  const URLSession session(within(30), transport);
  const auto connectionsAfter = [&](Traffic traffic) {
    EXPECT_EQ(response(run(session, event(server.url(), traffic))).statusCode, 200);
    return server.connectionsAccepted();
  };
  EXPECT_EQ(connectionsAfter(Traffic::loneEvent), 1U);
  EXPECT_EQ(connectionsAfter(Traffic::interactive), 1U);
  EXPECT_EQ(connectionsAfter(Traffic::event), 2U);
  EXPECT_EQ(connectionsAfter(Traffic::loneEvent), 2U);
  EXPECT_EQ(connectionsAfter(Traffic::interactive), 2U);
}

TEST(Connections, FourOthersDoNotWaitForALoneEventAmongThem) {
  LoopbackServer server([](const LoopbackRequest& request) {
    return request.target == "/" ? LoopbackResponse::of(200) : LoopbackResponse::silence();
  });
  Transport transport;
  const URLSession session(within(600), transport);
  run(session, {.url = server.url()});
  std::vector<Exchange> silent;
  silent.push_back(begin(session, event(server.url("/silent"), Traffic::loneEvent)));
  for (int i = 0; i < 4; ++i) silent.push_back(begin(session, {.url = server.url("/silent")}));
  server.awaitRequests(6);
  EXPECT_EQ(server.connectionsAccepted(), 5U);
}

/// One character for each of three connections: "r" when it resumed a session.
std::string resumptions(Nginx::Protocol protocol, const std::string& version) {
  LoopbackServer origin(LoopbackResponse::of(200));
  const Nginx server(
      protocol, origin.url(""),
      "keepalive_timeout 20ms; ssl_session_cache shared:sessions:1m; ssl_protocols " + version + ";");
  const Relay relay(server.port());
  const std::string url = "https://127.0.0.1:" + std::to_string(relay.port()) + "/";
  Transport transport;
  const URLSession session(trusting(server.certificateFile()), transport);
  std::string resumed;
  for (const Traffic traffic : {Traffic::interactive, Traffic::interactive, Traffic::event}) {
    resumed += response(run(session, event(url, traffic))).headers.at("x-resumed");
    relay.awaitNoConnection();
  }
  return resumed;
}

TEST(Connections, ANewOneResumesTheTLSSessionOfOneThatTheServerClosed) {
  for (const std::string version : {"TLSv1.2", "TLSv1.3"}) {
    EXPECT_EQ(resumptions(Nginx::Protocol::http1, version), ".rr") << version;
    EXPECT_EQ(resumptions(Nginx::Protocol::http2, version), ".rr") << version << ", HTTP/2";
  }
}

// HTTP/2

/// Begins that many events, as many at once as the transport takes. Returns the connections of the server.
std::set<std::string> connectionsOf(const URLSession& session, const std::string& url, std::size_t count) {
  std::set<std::string> connections;
  std::deque<Exchange> begun;
  for (std::size_t i = 0; i < count || !begun.empty();) {
    if (i < count && begun.size() < session.transport.eventCapacity()) {
      begun.push_back(begin(session, event(url)));
      ++i;
      continue;
    }
    connections.insert(response(begun.front().result()).headers.at("x-connection"));
    begun.pop_front();
  }
  return connections;
}

TEST(HTTP2, EventsShareOneConnectionWithAsManyStreamsAsTheServerAllows) {
  LoopbackServer origin(LoopbackResponse::of(200));
  for (const int streams : {100, 10}) {
    const Nginx server(Nginx::Protocol::http2, origin.url(""),
                       "http2_max_concurrent_streams " + std::to_string(streams) + ";");
    Transport transport;
    const URLSession session(trusting(server.certificateFile()), transport);
    EXPECT_EQ(transport.eventCapacity(), 8U);
    EXPECT_EQ(connectionsOf(session, server.url(), 300).size(), 1U) << streams;
    EXPECT_LE(transport.eventCapacity(), streams == 100 ? 100U : 22U);
  }
}

// Paths that die silently

/// Uses two connections, then loses them, and expects one failure for want of a response.
void expectOneFailure(Relay& relay, const std::string& scheme, Gate& gate,
                      const std::string& certificateFile) {
  Transport transport;
  const std::string url = scheme + std::to_string(relay.port()) + "/";
  const URLSession session(trusting(certificateFile), transport);
  gate.close();
  Exchange first = begin(session, event(url));
  Exchange second = begin(session, event(url));
  gate.open();
  EXPECT_EQ(response(first.result()).statusCode, 200);
  EXPECT_EQ(response(second.result()).statusCode, 200);
  relay.loseWhatExists();
  // Over HTTP/2 it shares the connection, and begins again over another one.
  std::vector<Exchange> siblings;
  if (scheme.starts_with("https")) siblings.push_back(begin(session, event(url)));
  const URLSession impatient(trusting(certificateFile, 0.3), transport);
  const std::string text = failure(run(impatient, event(url)));
  EXPECT_NE(text.find("Operation timed out after 300 milliseconds"), std::string::npos) << text;
  for (int i = 0; i < 2; ++i) EXPECT_EQ(response(run(session, event(url))).statusCode, 200);
  for (Exchange& sibling : siblings) EXPECT_EQ(response(sibling.result()).statusCode, 200);
}

TEST(Connections, AreNotUsedAgainWhenAnExchangeTimedOutOnThem) {
  Gate gate;
  LoopbackServer origin([&](const LoopbackRequest&) {
    gate.pass();
    return LoopbackResponse::of(200);
  });
  Relay plain(origin.port());
  expectOneFailure(plain, "http://127.0.0.1:", gate, "");
  const Nginx server(Nginx::Protocol::http2, origin.url(""));
  Relay secure(server.port());
  expectOneFailure(secure, "https://127.0.0.1:", gate, server.certificateFile());
}

// A clock that jumps

class TransportTime : public testing::Test {
 protected:
  /// Lets that time pass for the transport, which reads the clock before this returns.
  void pass(std::chrono::steady_clock::duration time) {
    time_ = time_.load() + time;
    // The first of these invalid exchanges may complete before the clock is read.
    for (int i = 0; i < 2; ++i) run(URLSession(within(1), transport_), {.url = "\n"});
  }

  std::atomic<std::chrono::steady_clock::time_point> time_{std::chrono::steady_clock::time_point()};
  Transport transport_{[this] { return time_.load(); }};
};

TEST_F(TransportTime, EventsThatWaitForAConnectionInTheMakingFailWithIt) {
  LoopbackServer plain(LoopbackResponse::silence());  // never responds to the beginning of a TLS handshake
  std::vector<Exchange> events;
  for (int i = 0; i < 3; ++i) {
    const std::string url = "https://127.0.0.1:" + std::to_string(plain.port()) + "/";
    events.push_back(begin(URLSession(within(1.5), transport_), event(url)));
  }
  pass(0ms);
  pass(1499ms);
  for (const Exchange& each : events) EXPECT_FALSE(each.hasEnded());
  pass(1ms);
  for (const Exchange& each : events) EXPECT_TRUE(each.hasEnded());
}

TEST_F(TransportTime, AJumpDoesNotCount) {
  LoopbackServer silent(LoopbackResponse::silence());
  const URLSession session(within(5), transport_);
  Exchange whole = begin(session, {.url = silent.url()});
  Exchange quiet = begin(URLSession(within(600), transport_),
                         {.url = silent.url(), .timeoutInterval = std::chrono::seconds(4)});
  silent.awaitRequests(2);
  pass(0s);  // by now the transport has noted that it has sent them
  pass(24h);
  pass(2s);
  pass(1999ms);
  EXPECT_FALSE(quiet.hasEnded());
  pass(1ms);
  EXPECT_EQ(failure(quiet.result()),
            "Operation too slow. Less than 1 bytes/sec transferred the last 4 seconds");
  pass(999ms);
  EXPECT_FALSE(whole.hasEnded());
  pass(1ms);
  EXPECT_EQ(failure(whole.result()), "Operation timed out after 5000 milliseconds with 0 bytes received");
}

}  // namespace
}  // namespace corvane::test
