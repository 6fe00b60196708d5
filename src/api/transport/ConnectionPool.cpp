#include "api/transport/ConnectionPool.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace corvane::platform {

namespace {

short eventsOf(int what) {
  switch (what) {
    case CURL_POLL_IN:
      return POLLIN;
    case CURL_POLL_OUT:
      return POLLOUT;
    case CURL_POLL_INOUT:
      return POLLIN | POLLOUT;
    default:
      return 0;
  }
}

int readinessOf(short events) {
  int readiness = 0;
  if ((events & (POLLIN | POLLHUP)) != 0) readiness |= CURL_CSELECT_IN;
  if ((events & POLLOUT) != 0) readiness |= CURL_CSELECT_OUT;
  if ((events & (POLLERR | POLLNVAL)) != 0) readiness |= CURL_CSELECT_ERR;
  return readiness;
}

/// The port at this end, or -1.
long localPort(curl_socket_t socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return -1;
  if (address.ss_family == AF_INET) return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
  if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
  return -1;
}

}  // namespace

ConnectionPool::ConnectionPool(long kept) : multi_(curl_multi_init()) {
  if (!multi_) return;
  CURLM* const multi = multi_.get();
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kept);
  curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &ConnectionPool::watchSocket);
  curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, &ConnectionPool::setTimer);
  curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
}

void ConnectionPool::setBounds(long connections, long connectionsPerHost, long streams) {
  curl_multi_setopt(multi_.get(), CURLMOPT_MAX_TOTAL_CONNECTIONS, connections);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAX_HOST_CONNECTIONS, connectionsPerHost);
  curl_multi_setopt(multi_.get(), CURLMOPT_MAX_CONCURRENT_STREAMS, streams);
}

CURLMcode ConnectionPool::add(CURL* request) {
  keepSessionsOfClosed();
  const CURLMcode code = curl_multi_add_handle(multi_.get(), request);
  if (code == CURLM_OK) ++requests_;
  return code;
}

void ConnectionPool::remove(CURL* request) {
  if (curl_multi_remove_handle(multi_.get(), request) == CURLM_OK) --requests_;
}

curl_socket_t ConnectionPool::openSocket(const curl_sockaddr& address) noexcept {
  const curl_socket_t socket = ::socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
  if (socket == CURL_SOCKET_BAD) return socket;
  connections_.push_back({socket});
  opened_ = true;
  return socket;
}

int ConnectionPool::closeSocket(void* self, curl_socket_t socket) noexcept {
  auto& pool = *static_cast<ConnectionPool*>(self);
  pool.unwatch(socket);
  std::erase_if(pool.connections_, [socket](const Connection& each) { return each.socket == socket; });
  return ::close(socket);
}

void ConnectionPool::noteUse(CURL* request, int port) noexcept {
  const TLSConnection tls = tlsConnectionOf(request);
  if (!tls) return;
  for (Connection& each : connections_) {
    if (each.tls == tls) return;
    if (!each.tls && localPort(each.socket) == port) each.tls = tls;
  }
}

/// libcurl finds out about them, and ends them, when it next looks for a connection.
void ConnectionPool::keepSessionsOfClosed() const {
  for (const Connection& each : connections_) {
    if (!each.tls || isWatched(each.socket)) continue;
    pollfd state{.fd = each.socket, .events = POLLRDHUP, .revents = 0};
    if (::poll(&state, 1, 0) > 0) keepSessionResumable(each.tls);
  }
}

int ConnectionPool::watchSocket(CURL*, curl_socket_t socket, int what, void* self, void*) noexcept {
  auto& pool = *static_cast<ConnectionPool*>(self);
  pool.unwatch(socket);
  if (const short events = eventsOf(what); events != 0) pool.polled_.push_back({socket, events});
  return 0;
}

int ConnectionPool::setTimer(CURLM*, long milliseconds, void* self) noexcept {
  auto& pool = *static_cast<ConnectionPool*>(self);
  pool.timer_.reset();
  if (milliseconds >= 0) pool.timer_ = Clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

void ConnectionPool::unwatch(curl_socket_t socket) {
  std::erase_if(polled_, [socket](const Polled& each) { return each.socket == socket; });
}

bool ConnectionPool::isWatched(curl_socket_t socket) const {
  return std::ranges::any_of(polled_, [socket](const Polled& each) { return each.socket == socket; });
}

void ConnectionPool::appendPolled(std::vector<pollfd>& list) const {
  for (const Polled& each : polled_) list.push_back({.fd = each.socket, .events = each.events, .revents = 0});
}

CURLMcode ConnectionPool::work(std::span<const pollfd> polled) {
  int running = 0;
  for (const pollfd& each : polled) {
    if (each.revents == 0 || !isWatched(each.fd)) continue;
    // A descriptor that is not open would be ready without end.
    if ((each.revents & POLLNVAL) != 0) unwatch(each.fd);
    const CURLMcode code =
        curl_multi_socket_action(multi_.get(), each.fd, readinessOf(each.revents), &running);
    if (code != CURLM_OK) return code;
  }
  if (!timer_ || *timer_ > Clock::now()) return CURLM_OK;
  timer_.reset();
  return curl_multi_socket_action(multi_.get(), CURL_SOCKET_TIMEOUT, 0, &running);
}

std::optional<ConnectionPool::Finished> ConnectionPool::takeFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const Finished finished{message->easy_handle, message->data.result};  // the removal frees the message
    remove(finished.request);
    return finished;
  }
  return std::nullopt;
}

void ConnectionPool::distrustConnections(long port) {
  for (const Connection& each : connections_) {
    if (localPort(each.socket) != port && isWatched(each.socket)) continue;
    // libcurl closes the socket when it next reads from it or looks for a connection to use again.
    keepSessionResumable(each.tls);
    ::shutdown(each.socket, SHUT_RDWR);
  }
}

}  // namespace corvane::platform
