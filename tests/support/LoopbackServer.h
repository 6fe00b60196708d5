#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/TLSIdentity.h"

namespace corvane::test {

struct LoopbackRequest {
  std::string method;
  std::string target;
  /// Names as they were sent.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  bool has(const std::string& name) const;
  /// The value of the first header of that name, whatever its case; empty where there is none.
  std::string header(const std::string& name) const;
};

/// What the server does about a request: bytes to send, and then.
struct LoopbackAnswer {
  enum class Then { nextRequest, hangUp, silence };

  std::string bytes{};
  Then then = Then::nextRequest;

  static LoopbackAnswer of(int status, std::string body = {},
                           std::vector<std::pair<std::string, std::string>> headers = {});
  static LoopbackAnswer redirect(int status, std::string location);
  /// These very bytes, then the connection closes.
  static LoopbackAnswer raw(std::string bytes);
  /// Nothing, until the client gives up.
  static LoopbackAnswer silence();
  /// The connection closes without an answer.
  static LoopbackAnswer hangUp();
};

/// An HTTP/1.1 server on a free port of 127.0.0.1 whose answers the test decides. One thread a connection;
/// the handler runs on those, several at once. A handler may block, but must be let go before the server
/// dies.
class LoopbackServer {
 public:
  using Handler = std::function<LoopbackAnswer(const LoopbackRequest&)>;

  /// Plain HTTP, or HTTPS with the identity given, which must outlive the server.
  explicit LoopbackServer(Handler handler, const TLSIdentity* identity = nullptr);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  std::uint16_t port() const { return port_; }
  /// "http://127.0.0.1:<port>" and `path`.
  std::string url(const std::string& path = "/", const std::string& host = "127.0.0.1") const;

  /// What has arrived so far, in order.
  std::vector<LoopbackRequest> requests() const;
  /// Blocks until that many requests have arrived.
  void awaitRequests(std::size_t count) const;
  /// Blocks until every connection accepted so far has ended.
  void awaitNoConnection() const;
  std::size_t connectionsAccepted() const;

 private:
  class Stream;

  void acceptConnections();
  void serve(int connection);
  void converse(Stream& stream);
  bool reply(Stream& stream, const LoopbackAnswer& answer);

  const Handler handler_;
  std::shared_ptr<void> tlsContext_;
  int listener_ = -1;
  std::uint16_t port_ = 0;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<LoopbackRequest> requests_;
  std::set<int> connections_;  // open ones
  std::size_t accepted_ = 0;
  bool stopping_ = false;

  std::thread acceptor_;
  std::vector<std::thread> conversations_;  // acceptor's thread until it ended
};

}  // namespace corvane::test
