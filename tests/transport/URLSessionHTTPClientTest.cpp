#include "api/transport/URLSessionHTTPClient.h"

#include <future>
#include <memory>
#include <utility>

#include "Exchange.h"
#include "HTTPClientContract.h"
#include "support/LoopbackServer.h"
#include "support/ScriptedHTTPClient.h"

namespace corvane::test {
namespace {

/// The library's client against a server on loopback.
class RealClient {
 public:
  explicit RealClient(boost::asio::io_context& background)
      : client_({within(600), transport_}, background.get_executor()) {}

  HTTPClient& client() { return client_; }
  URLRequest request() { return {.url = server_.url()}; }
  void willAnswer(const HTTPResponse& response) {
    next_ = LoopbackAnswer::of(response.statusCode, response.body,
                               {response.headers.begin(), response.headers.end()});
  }
  void willFail() { next_ = LoopbackAnswer::hangUp(); }
  void willStaySilent() { next_ = LoopbackAnswer::silence(); }
  void awaitRequest() { server_.awaitRequests(1); }
  std::size_t requestsSeen() { return server_.requests().size(); }

 private:
  LoopbackAnswer next_;  // set before anything is sent
  LoopbackServer server_{[this](const LoopbackRequest&) { return next_; }};
  platform::Transport transport_;  // of this test only, because it posts to the executor of this test
  platform::URLSessionHTTPClient client_;
};

/// The fake that the flows are tested with.
class FakeClient {
 public:
  explicit FakeClient(boost::asio::io_context& background) : background_(background) {}

  HTTPClient& client() { return client_; }
  URLRequest request() { return {.url = "https://api.test"}; }
  void willAnswer(HTTPResponse response) {
    // A client returns header names in lower case; this script contains them so.
    if (response.headers.contains("Retry-After")) response.headers = {{"retry-after", "3"}};
    client_.respond(std::move(response));
  }
  void willFail() { client_.respond(CorvaneError::transport("reset")); }
  void willStaySilent() {}
  void awaitRequest() {
    awaitByPolling("a request", [this] {
      auto seen = std::make_shared<std::promise<bool>>();
      boost::asio::post(background_, [this, seen] { seen->set_value(!client_.sent.empty()); });
      auto future = seen->get_future();
      return await(future, "the background executor");
    });
  }
  std::size_t requestsSeen() { return client_.sent.size(); }

 private:
  boost::asio::io_context& background_;
  ScriptedHTTPClient client_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(URLSessionHTTPClient, HTTPClientContract, RealClient);
INSTANTIATE_TYPED_TEST_SUITE_P(ScriptedHTTPClient, HTTPClientContract, FakeClient);

}  // namespace
}  // namespace corvane::test
