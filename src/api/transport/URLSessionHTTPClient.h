#pragma once

#include <boost/asio/any_io_executor.hpp>

#include "api/HTTPClient.h"
#include "api/transport/URLSession.h"

namespace corvane::platform {

/// The library's `HTTPClient`: performs exchanges of one `URLSession` as awaitables.
///
/// Has no state between calls. `send` is called on the background executor, which runs one function at a
/// time, and resumes there; cancellations are emitted there too. The transport's thread posts to that
/// executor, which must live as long as the transport.
class URLSessionHTTPClient : public HTTPClient {
 public:
  URLSessionHTTPClient(URLSession session, boost::asio::any_io_executor background);

  boost::asio::awaitable<HTTPResponse> send(URLRequest request) override;
  std::size_t eventCapacity() const override { return session_.transport.eventCapacity(); }

 private:
  URLSession session_;
  boost::asio::any_io_executor background_;
};

}  // namespace corvane::platform
