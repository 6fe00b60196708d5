#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "http/Listener.h"
#include "support/TLSIdentity.h"

namespace corvane::test {

struct LoopbackRequest {
  std::string method;
  std::string target;
  /// With names as they were sent.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  bool has(const std::string& name) const;
  /// The value of the first header with that name in any case, or empty.
  std::string header(const std::string& name) const;
};

/// The server's reaction to a request: bytes to send, and what follows.
struct LoopbackResponse {
  enum class Then { nextRequest, hangUp, silence };

  std::string bytes{};
  Then then = Then::nextRequest;

  static LoopbackResponse of(int status, std::string body = {},
                             std::vector<std::pair<std::string, std::string>> headers = {});
  static LoopbackResponse redirect(int status, std::string location);
  /// Exactly these bytes; then the connection closes.
  static LoopbackResponse raw(std::string bytes);
  /// No response until the client closes the connection.
  static LoopbackResponse silence();
  /// The connection closes without a response.
  static LoopbackResponse hangUp();
};

/// An HTTP/1.1 server on a free port of 127.0.0.1 whose responses the test decides. Each connection has a
/// thread; the handler runs on those, several at once. A handler may block, but must return before the server
/// is destroyed.
class LoopbackServer {
 public:
  using Handler = std::function<LoopbackResponse(const LoopbackRequest&)>;
  enum class Record { requests, numberOnly };

  /// Plain HTTP, or HTTPS with the given identity. `numberOnly` keeps memory constant, for benchmarks.
  explicit LoopbackServer(Handler handler, const TLSIdentity* identity = nullptr,
                          Record record = Record::requests);
  /// Responds to every request alike.
  explicit LoopbackServer(LoopbackResponse always, const TLSIdentity* identity = nullptr);

  std::uint16_t port() const { return listener_.port(); }
  /// "http://127.0.0.1:<port>" and `path`.
  std::string url(const std::string& path = "/", const std::string& host = "127.0.0.1") const;

  /// What has arrived so far, in order.
  std::vector<LoopbackRequest> requests() const;
  /// How many requests have arrived so far.
  std::size_t requestCount() const;
  /// Waits until that many requests have arrived. Throws `std::runtime_error` after a minute.
  void awaitRequests(std::size_t count) const;
  /// Waits until every connection has ended. Throws `std::runtime_error` after a minute.
  void awaitNoConnection() const;
  std::size_t connectionsAccepted() const { return listener_.accepted(); }

 private:
  void serve(sandbox::Connection& connection);
  void keep(const LoopbackRequest& request);

  const Handler handler_;
  const Record record_;

  mutable std::mutex mutex_;  // guards the requests and their number
  mutable std::condition_variable changed_;
  std::vector<LoopbackRequest> requests_;
  std::size_t requestCount_ = 0;

  sandbox::Listener listener_;  // last: its threads use the others
};

}  // namespace corvane::test
