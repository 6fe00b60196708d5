#include "platform/Transport.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <thread>
#include <vector>

#include "Exchange.h"
#include "LookUps.h"
#include "platform/TransportLoop.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using platform::Transport;
using platform::TransportLoop;
using platform::URLSession;

constexpr auto kBound = 10s;
constexpr const char* kExiting = "the process is exiting";

LoopbackAnswer neverAnswer(const LoopbackRequest&) {
  return LoopbackAnswer::silence();
}

TEST(Transport, ShuttingDownEndsWhatIsInFlightAndInLineAndToCome) {
  const TLSIdentity identity;
  LoopbackServer plain(neverAnswer);
  LoopbackServer secure(neverAnswer, &identity);
  Transport transport;
  auto configuration = within(600);
  configuration.certificateAuthorityFile = identity.certificateFile();
  const URLSession session(configuration, transport);
  std::vector<Exchange> exchanges;
  for (std::size_t i = 0; i < TransportLoop::kAtOnce + 5; ++i) {
    exchanges.push_back(begin(session, {.url = i % 2 == 0 ? plain.url() : secure.url()}));
  }
  plain.awaitRequests(TransportLoop::kAtOnce / 2);
  secure.awaitRequests(TransportLoop::kAtOnce / 2);

  EXPECT_TRUE(transport.shutDown(kBound));
  for (Exchange& exchange : exchanges) EXPECT_EQ(failure(exchange.result.get()), kExiting);
  plain.awaitNoConnection();
  secure.awaitNoConnection();
  EXPECT_EQ(failure(run(session, {.url = plain.url()})), kExiting);
  exchanges.front().task->cancel();
  EXPECT_TRUE(transport.shutDown(kBound));
}

TEST(Transport, ShuttingDownAnIdleOneClosesKeptConnections) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200); });
  Transport transport;
  EXPECT_EQ(response(run(URLSession(within(30), transport), {.url = server.url()})).statusCode, 200);
  EXPECT_TRUE(transport.shutDown(kBound));
  server.awaitNoConnection();
}

TEST(Transport, ShuttingDownGivesUpOnAThreadThatAHostHolds) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200); });
  Transport transport;
  std::promise<void> entered;
  std::promise<void> leave;
  URLSession(within(30), transport).data({.url = server.url()}, [&](const auto&) {
    entered.set_value();
    leave.get_future().wait();
  });
  entered.get_future().wait();
  EXPECT_FALSE(transport.shutDown(1ms));
  leave.set_value();
}

TEST(Transport, BeginningAndCancellingFromManyThreadsWhileShuttingDownCompletesEachOnce) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200); });
  Transport transport;
  const URLSession session(within(600), transport);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      std::vector<Exchange> exchanges;
      for (int i = 0; i < 50; ++i) {
        exchanges.push_back(begin(session, {.url = server.url()}));
        if (i % 3 == 0) exchanges.back().task->cancel();
      }
      for (Exchange& exchange : exchanges) exchange.result.wait();
    });
  }
  server.awaitRequests(5);
  EXPECT_TRUE(transport.shutDown(kBound));
  for (std::thread& thread : threads) thread.join();
}

TEST(Transport, ACompletionMayBeginTheNextExchange) {
  LoopbackServer server(
      [](const LoopbackRequest& request) { return LoopbackAnswer::of(200, request.target); });
  const URLSession session(within(30));
  std::promise<platform::URLSessionResult> second;
  session.data({.url = server.url("/1")}, [&](const auto&) {
    session.data({.url = server.url("/2")}, [&](auto result) { second.set_value(std::move(result)); });
  });
  EXPECT_EQ(response(second.get_future().get()).body, "/2");
}

TEST(Transport, CompletionsRunOnAThreadThatBlocksAllSignals) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200); });
  std::promise<sigset_t> mask;
  URLSession(within(30)).data({.url = server.url()}, [&](const auto&) {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    mask.set_value(blocked);
  });
  const sigset_t blocked = mask.get_future().get();
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGALRM, SIGCHLD, SIGPROF}) {
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  }
}

// A name look-up that never answers

class SilentResolver : public testing::Test {
 protected:
  ~SilentResolver() override { LookUps::release(); }

  static constexpr const char* kSilent = "http://silent.test/";
};

TEST_F(SilentResolver, HoldsUpNoOtherExchange) {
  LoopbackServer server([](const LoopbackRequest&) { return LoopbackAnswer::of(200); });
  const URLSession session(within(600));
  Exchange hanging = begin(session, {.url = kSilent});
  LookUps::awaitSilent();
  EXPECT_EQ(response(run(session, {.url = server.url()})).statusCode, 200);
  EXPECT_EQ(response(run(session, {.url = server.url("/", "name.loopback.test")})).statusCode, 200);
  hanging.task->cancel();
  EXPECT_EQ(failure(hanging.result.get()), "cancelled");
}

TEST_F(SilentResolver, HoldsUpNoTimeout) {
  const std::string text = failure(run(URLSession(within(0.1)), {.url = kSilent}));
  EXPECT_NE(text.find("timed out"), std::string::npos) << text;
}

TEST_F(SilentResolver, HoldsUpNoShutDown) {
  Transport transport;
  Exchange hanging = begin(URLSession(within(600), transport), {.url = kSilent});
  LookUps::awaitSilent();
  EXPECT_TRUE(transport.shutDown(kBound));
  EXPECT_EQ(failure(hanging.result.get()), kExiting);
}

TEST(URLSession, AnUnknownNameIsAFailure) {
  const std::string text = failure(run(URLSession(within(30)), {.url = "http://nowhere.test/"}));
  EXPECT_NE(text.find("Could not resolve host: nowhere.test"), std::string::npos) << text;
}

}  // namespace
}  // namespace corvane::test
