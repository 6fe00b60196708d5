#pragma once

#include <boost/asio/awaitable.hpp>
#include <cstddef>

#include "api/HTTPResponse.h"
#include "api/URLRequest.h"

namespace corvane {

/// The transport seam: one operation, one exchange.
///
/// Any number of exchanges may be in flight at once. `send` is called on the background executor and resumes
/// there.
class HTTPClient {
 public:
  virtual ~HTTPClient() = default;

  /// Performs the exchange. Throws `CorvaneError::transport` when no response was obtained, and nothing else.
  /// When the calling task is cancelled, before or during the exchange, that is a `transport` failure too.
  virtual boost::asio::awaitable<HTTPResponse> send(URLRequest request) = 0;

  /// How many exchanges of events the transport takes at once, at present: it depends on the protocol of the
  /// connection. The caller keeps to it. On the background executor.
  virtual std::size_t eventCapacity() const { return 8; }
};

}  // namespace corvane
