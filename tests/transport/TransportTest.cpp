#include "api/transport/Transport.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Exchange.h"
#include "LookUps.h"
#include "api/transport/EventAdmission.h"
#include "support/Gate.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using platform::Transport;
using platform::URLSession;

constexpr const char* exitingText = "the process is exiting";

TEST(Transport, ShutDownEndsActiveHeldAndLaterExchanges) {
  const TLSIdentity identity;
  LoopbackServer plain(LoopbackResponse::silence());
  LoopbackServer secure(LoopbackResponse::silence(), &identity);
  Transport transport;
  auto configuration = within(600);
  configuration.certificateAuthorityFile = identity.certificateFile();
  const URLSession session(configuration, transport);
  std::vector<Exchange> exchanges;
  for (std::size_t i = 0; i < platform::EventAdmission::overHTTP1 + 5; ++i) {
    const std::string url = i % 2 == 0 ? plain.url() : secure.url();
    exchanges.push_back(begin(session, {.url = url, .traffic = Traffic::event}));
  }
  plain.awaitRequests(4);
  secure.awaitRequests(1);

  EXPECT_TRUE(transport.shutDown(waitLimit));
  for (Exchange& exchange : exchanges) EXPECT_EQ(failure(exchange.result()), exitingText);
  plain.awaitNoConnection();
  secure.awaitNoConnection();
  EXPECT_EQ(failure(run(session, {.url = plain.url()})), exitingText);
  exchanges.front().cancel();
  EXPECT_TRUE(transport.shutDown(waitLimit));
}

TEST(Transport, ShutDownReturnsFalseWhileACompletionBlocksTheThread) {
  LoopbackServer server(LoopbackResponse::of(200));
  std::promise<void> entered;
  auto hasEntered = entered.get_future();
  Gate gate;
  gate.close();
  Transport transport;
  transport.begin({.url = server.url()}, within(30), [&](const auto&) {
    entered.set_value();
    gate.pass();
  });
  await(hasEntered, "the completion");
  EXPECT_FALSE(transport.shutDown(1ms));
  gate.open();
}

TEST(Transport, CompletesEachExchangeOnceWhenThreadsBeginAndCancelDuringAShutDown) {
  LoopbackServer server(LoopbackResponse::of(200));
  Transport transport;
  const URLSession session(within(600), transport);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      std::vector<Exchange> exchanges;
      for (int i = 0; i < 50; ++i) {
        exchanges.push_back(begin(session, {.url = server.url()}));
        if (i % 3 == 0) exchanges.back().cancel();
      }
      for (Exchange& exchange : exchanges) exchange.result();
    });
  }
  server.awaitRequests(5);
  EXPECT_TRUE(transport.shutDown(waitLimit));
  for (std::thread& thread : threads) thread.join();
}

TEST(Transport, AHangingNameLookUpDelaysNoOtherExchangeNoTimeoutAndNoShutDown) {
  const URLRequest silent{.url = "http://silent.test/"};
  LoopbackServer server(LoopbackResponse::of(200));
  Transport transport;
  const URLSession session(within(600), transport);
  Exchange cancelled = begin(session, silent);
  Exchange hanging = begin(session, silent);
  LookUps::awaitSilent();
  EXPECT_EQ(response(run(session, {.url = server.url("/", "name.loopback.test")})).statusCode, 200);
  cancelled.cancel();
  EXPECT_EQ(failure(cancelled.result()), "cancelled");
  const auto begun = std::chrono::steady_clock::now();
  const std::string text = failure(run(URLSession(within(0.1), transport), silent));
  EXPECT_GE(std::chrono::steady_clock::now() - begun, 100ms);
  EXPECT_NE(text.find("timed out"), std::string::npos) << text;
  EXPECT_TRUE(transport.shutDown(waitLimit));
  EXPECT_EQ(failure(hanging.result()), exitingText);
  LookUps::release();
}

}  // namespace
}  // namespace corvane::test
