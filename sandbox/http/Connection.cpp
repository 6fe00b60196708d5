#include "http/Connection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

namespace corvane::sandbox {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::size_t maxDiscarded = 4 * 1024 * 1024;
constexpr auto finishTime = 2s;

template <class Value>
void setOption(int socket, int level, int name, const Value& value) {
  ::setsockopt(socket, level, name, &value, sizeof value);
}

/// Waits for the event; false when the time is over.
bool await(int socket, short event, Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  pollfd events{socket, event, 0};
  return left > 0ms && ::poll(&events, 1, static_cast<int>(left.count())) != 0;
}

}  // namespace

Connection::Connection(Descriptor socket, const TLSContext& context)
    : socket_(std::move(socket)), tls_(nullptr, SSL_free) {
  setOption(socket_.number(), IPPROTO_TCP, TCP_NODELAY, 1);
  setOption(socket_.number(), SOL_SOCKET, SO_KEEPALIVE, 1);
  setOption(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, timeval{timeLimit.count(), 0});
  setOption(socket_.number(), SOL_SOCKET, SO_SNDTIMEO, timeval{timeLimit.count() / 2, 0});
  if (!context) return;
  tls_.reset(SSL_new(context.get()));
  SSL_set_fd(tls_.get(), socket_.number());
  isOpen_ = SSL_accept(tls_.get()) == 1;
}

bool Connection::read(std::string& into) {
  std::array<char, 16384> buffer;
  const auto size = tls_ ? SSL_read(tls_.get(), buffer.data(), buffer.size())
                         : static_cast<int>(::recv(socket(), buffer.data(), buffer.size(), 0));
  if (size > 0) into.append(buffer.data(), static_cast<std::size_t>(size));
  return size > 0;
}

bool Connection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto size = tls_ ? SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()))
                           : static_cast<int>(::send(socket(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
    if (size <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(size));
  }
  return true;
}

bool Connection::pause(std::chrono::milliseconds duration) {
  return !await(socket(), POLLRDHUP, Clock::now() + duration);
}

void Connection::discard(std::chrono::milliseconds duration) {
  const auto deadline = Clock::now() + duration;
  std::array<char, 16384> buffer;
  for (std::size_t discarded = 0; discarded < maxDiscarded && await(socket(), POLLIN, deadline);) {
    const ssize_t size = ::recv(socket(), buffer.data(), buffer.size(), 0);
    if (size <= 0) return;
    discarded += static_cast<std::size_t>(size);
  }
}

void Connection::finish() {
  ::shutdown(socket(), SHUT_WR);
  discard(finishTime);
}

void Connection::reset() {
  setOption(socket(), SOL_SOCKET, SO_LINGER, linger{1, 0});
  isOpen_ = false;
}

}  // namespace corvane::sandbox
