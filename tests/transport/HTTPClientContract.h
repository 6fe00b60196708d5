#pragma once

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

#include "api/HTTPClient.h"
#include "corvane/CorvaneError.h"
#include "support/Await.h"

namespace corvane::test {

/// The tests that every `HTTPClient` must pass. A `Subject` has
///
///   Subject(boost::asio::io_context& background)
///   HTTPClient& client();
///   URLRequest request();                       // a request that gets the response below
///   void willAnswer(HTTPResponse response);     // header names as given
///   void willFail();                            // no response
///   void willStaySilent();
///   void awaitRequest();                        // waits until the backend has a request without a response
///   std::size_t requestsSeen();
template <typename Subject>
class HTTPClientContract : public testing::Test {
 protected:
  /// Runs `send` to its end in a task of the background executor. `meanwhile` runs on another thread at the
  /// same time and may post a cancellation to the executor, as the library does.
  template <typename Meanwhile>
  std::optional<HTTPResponse> send(Meanwhile meanwhile) {
    response_.reset();
    failure_.reset();
    boost::asio::co_spawn(
        background_,
        [this]() -> boost::asio::awaitable<void> {
          co_await boost::asio::this_coro::throw_if_cancelled(false);
          if (cancelsFirst_) signal_.emit(boost::asio::cancellation_type::terminal);
          try {
            response_ = co_await subject_.client().send(subject_.request());
          } catch (const CorvaneError& error) {
            failure_ = error;
          }
          resumedOn_ = std::this_thread::get_id();
        },
        boost::asio::bind_cancellation_slot(signal_.slot(), [](const std::exception_ptr& error) {
          if (error) std::rethrow_exception(error);
        }));
    std::thread beside([&] { meanwhile(signal_); });
    background_.run_for(waitLimit);
    EXPECT_TRUE(background_.stopped()) << "send did not return";
    background_.restart();
    beside.join();
    return response_;
  }

  std::optional<HTTPResponse> send() {
    return send([](auto&) {});
  }

  boost::asio::cancellation_signal signal_;
  std::optional<HTTPResponse> response_;
  std::optional<CorvaneError> failure_;
  boost::asio::io_context background_;
  Subject subject_{background_};
  std::thread::id resumedOn_;
  bool cancelsFirst_ = false;
};

TYPED_TEST_SUITE_P(HTTPClientContract);

TYPED_TEST_P(HTTPClientContract, AnErrorStatusIsAResponseOnTheBackgroundExecutor) {
  for (const std::string body : {"broken", ""}) {
    this->subject_.willAnswer({.statusCode = 500, .body = body, .headers = {{"Retry-After", "3"}}});
    const auto response = this->send();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->statusCode, 500);
    EXPECT_EQ(response->body, body);
    EXPECT_EQ(response->headers.at("retry-after"), "3");
    EXPECT_EQ(this->resumedOn_, std::this_thread::get_id());
  }
}

TYPED_TEST_P(HTTPClientContract, NoResponseIsATransportError) {
  this->subject_.willFail();
  EXPECT_FALSE(this->send());
  ASSERT_TRUE(this->failure_);
  EXPECT_EQ(this->failure_->case_(), CorvaneError::Case::transport);
  EXPECT_NE(this->failure_->message(), "");
}

TYPED_TEST_P(HTTPClientContract, CancellingTheTaskIsATransportError) {
  this->subject_.willStaySilent();
  EXPECT_FALSE(this->send([this](boost::asio::cancellation_signal& signal) {
    this->subject_.awaitRequest();
    boost::asio::post(this->background_,
                      [&signal] { signal.emit(boost::asio::cancellation_type::terminal); });
  }));
  ASSERT_TRUE(this->failure_);
  EXPECT_EQ(this->failure_->case_(), CorvaneError::Case::transport);
  EXPECT_EQ(this->resumedOn_, std::this_thread::get_id());
}

TYPED_TEST_P(HTTPClientContract, ACancelledTaskSendsNothing) {
  this->subject_.willAnswer({.statusCode = 200});
  this->cancelsFirst_ = true;
  EXPECT_FALSE(this->send());
  ASSERT_TRUE(this->failure_);
  EXPECT_EQ(this->failure_->case_(), CorvaneError::Case::transport);
  EXPECT_EQ(this->subject_.requestsSeen(), 0U);
}

REGISTER_TYPED_TEST_SUITE_P(HTTPClientContract, AnErrorStatusIsAResponseOnTheBackgroundExecutor,
                            NoResponseIsATransportError, CancellingTheTaskIsATransportError,
                            ACancelledTaskSendsNothing);

}  // namespace corvane::test
