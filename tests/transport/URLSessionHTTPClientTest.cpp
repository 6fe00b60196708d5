#include "platform/URLSessionHTTPClient.h"

#include <memory>
#include <mutex>

#include "Exchange.h"
#include "HTTPClientContract.h"
#include "support/LoopbackServer.h"

namespace corvane::test {
namespace {

/// The library's client against a server on loopback.
class RealClient {
 public:
  explicit RealClient(boost::asio::io_context& background)
      : client_(std::make_shared<platform::URLSession>(within(60), transport_), background.get_executor()) {}

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
  platform::Transport transport_;  // ends here, as the executor that it posts to ends with the test
  platform::URLSessionHTTPClient client_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(URLSessionHTTPClient, HTTPClientContract, RealClient);

}  // namespace
}  // namespace corvane::test
