#include "support/LoopbackServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace corvane::test {

namespace {

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string("loopback server: ") + what);
}

/// Writing to a client that has gone must not end the test program.
void blockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

std::shared_ptr<void> makeTLSContext(const TLSIdentity& identity) {
  std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  require(
      SSL_CTX_use_certificate_file(context.get(), identity.certificateFile().c_str(), SSL_FILETYPE_PEM) == 1,
      "certificate");
  require(SSL_CTX_use_PrivateKey_file(context.get(), identity.keyFile().c_str(), SSL_FILETYPE_PEM) == 1,
          "key");
  return context;
}

/// Reads the head of a request: everything before the blank line.
LoopbackRequest parseHead(const std::string& head) {
  LoopbackRequest request;
  std::size_t end = head.find("\r\n");
  const std::string line = head.substr(0, end);
  const std::size_t blank = line.find(' ');
  request.method = line.substr(0, blank);
  request.target = line.substr(blank + 1, line.rfind(' ') - blank - 1);
  while (end != std::string::npos) {
    const std::size_t start = end + 2;
    end = head.find("\r\n", start);
    const std::string field = head.substr(start, end == std::string::npos ? end : end - start);
    const std::size_t colon = field.find(':');
    const std::size_t value = field.find_first_not_of(" \t", colon + 1);
    request.headers.emplace_back(field.substr(0, colon),
                                 value == std::string::npos ? "" : field.substr(value));
  }
  return request;
}

}  // namespace

bool LoopbackRequest::has(const std::string& name) const {
  return std::ranges::any_of(
      headers, [&](const auto& field) { return strcasecmp(field.first.c_str(), name.c_str()) == 0; });
}

std::string LoopbackRequest::header(const std::string& name) const {
  for (const auto& [each, value] : headers) {
    if (strcasecmp(each.c_str(), name.c_str()) == 0) return value;
  }
  return {};
}

LoopbackAnswer LoopbackAnswer::of(int status, std::string body,
                                  std::vector<std::pair<std::string, std::string>> headers) {
  std::string bytes = "HTTP/1.1 " + std::to_string(status) + " Whatever\r\n";
  for (const auto& [name, value] : headers) bytes.append(name).append(": ").append(value).append("\r\n");
  bytes.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n\r\n").append(body);
  return {.bytes = std::move(bytes)};
}

LoopbackAnswer LoopbackAnswer::redirect(int status, std::string location) {
  return of(status, "see there", {{"Location", std::move(location)}});
}

LoopbackAnswer LoopbackAnswer::raw(std::string bytes) {
  return {.bytes = std::move(bytes), .then = Then::hangUp};
}
LoopbackAnswer LoopbackAnswer::silence() {
  return {.then = Then::silence};
}
LoopbackAnswer LoopbackAnswer::hangUp() {
  return {.then = Then::hangUp};
}

/// One connection's bytes, plain or through TLS.
class LoopbackServer::Stream {
 public:
  Stream(int connection, SSL_CTX* context) : connection_(connection), tls_(nullptr, SSL_free) {
    if (!context) return;
    tls_.reset(SSL_new(context));
    SSL_set_fd(tls_.get(), connection);
    isOpen_ = SSL_accept(tls_.get()) == 1;
  }

  bool isOpen() const { return isOpen_; }

  /// Appends what comes next; false when the client has gone.
  bool read(std::string& into) {
    char buffer[16384];
    const auto size = tls_ ? SSL_read(tls_.get(), buffer, sizeof buffer)
                           : static_cast<int>(::recv(connection_, buffer, sizeof buffer, 0));
    if (size <= 0) return false;
    into.append(buffer, static_cast<std::size_t>(size));
    return true;
  }

  bool write(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const auto size =
          tls_ ? SSL_write(tls_.get(), bytes.data() + sent, static_cast<int>(bytes.size() - sent))
               : static_cast<int>(::send(connection_, bytes.data() + sent, bytes.size() - sent, 0));
      if (size <= 0) return false;
      sent += static_cast<std::size_t>(size);
    }
    return true;
  }

  std::optional<LoopbackRequest> readRequest() {
    std::size_t end;
    while ((end = pending_.find("\r\n\r\n")) == std::string::npos) {
      if (!read(pending_)) return std::nullopt;
    }
    LoopbackRequest request = parseHead(pending_.substr(0, end));
    pending_.erase(0, end + 4);
    const std::string length = request.header("Content-Length");
    const std::size_t size = length.empty() ? 0 : std::stoul(length);
    while (pending_.size() < size) {
      if (!read(pending_)) return std::nullopt;
    }
    request.body = pending_.substr(0, size);
    pending_.erase(0, size);
    return request;
  }

 private:
  int connection_;
  std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
  bool isOpen_ = true;
  std::string pending_;
};

LoopbackServer::LoopbackServer(Handler handler, const TLSIdentity* identity) : handler_(std::move(handler)) {
  if (identity) tlsContext_ = makeTLSContext(*identity);
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  // The loopback device may be down, where its coming up is what is tested.
  const int yes = 1;
  ::setsockopt(listener_, IPPROTO_IP, IP_FREEBIND, &yes, sizeof yes);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  require(::bind(listener_, name, sizeof address) == 0, "bind");
  require(::listen(listener_, 128) == 0, "listen");
  require(::getsockname(listener_, name, &size) == 0, "getsockname");
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { acceptConnections(); });
}

LoopbackServer::~LoopbackServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    ::shutdown(listener_, SHUT_RDWR);
    for (const int connection : connections_) ::shutdown(connection, SHUT_RDWR);
  }
  acceptor_.join();
  for (std::thread& conversation : conversations_) conversation.join();
  ::close(listener_);
}

std::string LoopbackServer::url(const std::string& path, const std::string& host) const {
  return (tlsContext_ ? "https://" : "http://") + host + ":" + std::to_string(port_) + path;
}

std::vector<LoopbackRequest> LoopbackServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

void LoopbackServer::awaitRequests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return requests_.size() >= count; });
}

void LoopbackServer::awaitNoConnection() const {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return connections_.empty(); });
}

std::size_t LoopbackServer::connectionsAccepted() const {
  const std::lock_guard lock(mutex_);
  return accepted_;
}

void LoopbackServer::acceptConnections() {
  blockSignals();
  for (;;) {
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const std::lock_guard lock(mutex_);
    if (stopping_ || connection < 0) {
      if (connection >= 0) ::close(connection);
      return;
    }
    ++accepted_;
    connections_.insert(connection);
    conversations_.emplace_back([this, connection] { serve(connection); });
  }
}

void LoopbackServer::serve(int connection) {
  {
    Stream stream(connection, static_cast<SSL_CTX*>(tlsContext_.get()));
    if (stream.isOpen()) converse(stream);
  }
  const std::lock_guard lock(mutex_);
  connections_.erase(connection);
  ::close(connection);
  changed_.notify_all();
}

void LoopbackServer::converse(Stream& stream) {
  while (const auto request = stream.readRequest()) {
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(*request);
      changed_.notify_all();
    }
    if (!reply(stream, handler_(*request))) return;
  }
}

/// False when the conversation has ended.
bool LoopbackServer::reply(Stream& stream, const LoopbackAnswer& answer) {
  if (!stream.write(answer.bytes) || answer.then == LoopbackAnswer::Then::hangUp) return false;
  std::string ignored;
  while (answer.then == LoopbackAnswer::Then::silence && stream.read(ignored)) ignored.clear();
  return answer.then == LoopbackAnswer::Then::nextRequest;
}

}  // namespace corvane::test
