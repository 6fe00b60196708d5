#include "api/HTTPClient.h"

#include <gtest/gtest.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <exception>
#include <optional>
#include <thread>
#include <utility>

#include "Exchange.h"
#include "api/transport/URLSessionHTTPClient.h"
#include "corvane/CorvaneError.h"
#include "support/LoopbackServer.h"
#include "support/ScriptedHTTPClient.h"

namespace corvane::test {
namespace {

/// The library's client against a server on loopback. What the server does is set before anything is sent.
class RealClient {
 public:
  explicit RealClient(boost::asio::io_context& background)
      : client_({within(600), transport_}, background.get_executor()) {}

  HTTPClient& client() { return client_; }
  std::string url() const { return server_.url(); }
  void willRespond(const HTTPResponse& response) {
    next_ = LoopbackResponse::of(response.statusCode, response.body, {{"Retry-After", "3"}});
  }
  void willFail() { next_ = LoopbackResponse::hangUp(); }
  void awaitRequest() const { server_.awaitRequests(1); }
  std::size_t requestsSeen() const { return server_.requests().size(); }

 private:
  LoopbackResponse next_ = LoopbackResponse::silence();
  LoopbackServer server_{[this](const LoopbackRequest&) { return next_; }};
  platform::Transport transport_;  // of this test only, because it posts to the executor of this test
  platform::URLSessionHTTPClient client_;
};

/// The fake that the flows are tested with.
class FakeClient {
 public:
  explicit FakeClient(boost::asio::io_context&) {}

  HTTPClient& client() { return client_; }
  std::string url() const { return "https://api.test"; }
  void willRespond(HTTPResponse response) {
    response.headers = {{"retry-after", "3"}};
    client_.respond(std::move(response));
  }
  void willFail() { client_.respond(CorvaneError::transport("reset")); }
  void awaitRequest() const { EXPECT_TRUE(client_.isWaiting()); }
  std::size_t requestsSeen() const { return client_.sent.size(); }

 private:
  ScriptedHTTPClient client_;
};

/// The tests that every `HTTPClient` must pass. Without `willRespond` or `willFail` a subject stays silent.
template <typename Subject>
class HTTPClientContract : public testing::Test {
 protected:
  /// Begins `send` in a task of the background executor.
  void begin() {
    boost::asio::co_spawn(
        background_,
        [this]() -> boost::asio::awaitable<void> {
          co_await boost::asio::this_coro::throw_if_cancelled(false);
          if (cancelsFirst_) signal_.emit(boost::asio::cancellation_type::terminal);
          try {
            URLRequest request{.url = subject_.url()};
            response_ = co_await subject_.client().send(std::move(request));
          } catch (const CorvaneError& error) {
            failure_ = error.case_();
          }
          resumedOn_ = std::this_thread::get_id();
        },
        boost::asio::bind_cancellation_slot(signal_.slot(), [](const std::exception_ptr& error) {
          if (error) std::rethrow_exception(error);
        }));
  }

  void finish() {
    background_.run_for(waitLimit);
    EXPECT_TRUE(background_.stopped()) << "send did not return";
    EXPECT_EQ(resumedOn_, std::this_thread::get_id()) << "it must resume on the background executor";
    background_.restart();
  }

  void expectFailure() {
    finish();
    EXPECT_FALSE(response_);
    EXPECT_EQ(failure_, CorvaneError::Case::transport);
  }

  boost::asio::cancellation_signal signal_;
  std::optional<HTTPResponse> response_;
  std::optional<CorvaneError::Case> failure_;
  boost::asio::io_context background_;
  Subject subject_{background_};
  std::thread::id resumedOn_;
  bool cancelsFirst_ = false;
};

using Subjects = testing::Types<RealClient, FakeClient>;
TYPED_TEST_SUITE(HTTPClientContract, Subjects);

TYPED_TEST(HTTPClientContract, AnErrorStatusIsAResponse) {
  for (const std::string body : {"broken", ""}) {
    this->subject_.willRespond({.statusCode = 500, .body = body});
    this->begin();
    this->finish();
    ASSERT_TRUE(this->response_);
    EXPECT_EQ(this->response_->statusCode, 500);
    EXPECT_EQ(this->response_->body, body);
    EXPECT_EQ(this->response_->headers.at("retry-after"), "3");
  }
}

TYPED_TEST(HTTPClientContract, NoResponseIsATransportError) {
  this->subject_.willFail();
  this->begin();
  this->expectFailure();
}

TYPED_TEST(HTTPClientContract, CancellingTheTaskIsATransportError) {
  this->begin();
  this->background_.poll();
  this->subject_.awaitRequest();
  boost::asio::post(this->background_,
                    [this] { this->signal_.emit(boost::asio::cancellation_type::terminal); });
  this->expectFailure();
}

TYPED_TEST(HTTPClientContract, ACancelledTaskSendsNothing) {
  this->subject_.willRespond({.statusCode = 200});
  this->cancelsFirst_ = true;
  this->begin();
  this->expectFailure();
  EXPECT_EQ(this->subject_.requestsSeen(), 0U);
}

}  // namespace
}  // namespace corvane::test
