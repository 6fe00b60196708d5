#include "Server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>

namespace corvane::bench {
namespace {

constexpr std::string_view answer =
    "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 26\r\n\r\n"
    R"({"id":1,"attributed":true})";

/// The size of the first whole request in the bytes; 0 where there is none.
std::size_t wholeRequest(std::string_view bytes) {
  const auto head = bytes.find("\r\n\r\n");
  if (head == bytes.npos) return 0;
  constexpr std::string_view name = "Content-Length: ";
  const auto length = bytes.substr(0, head).find(name);
  const std::size_t body =
      length == bytes.npos ? 0 : std::strtoul(bytes.substr(length + name.size(), 10).data(), nullptr, 10);
  return bytes.size() >= head + 4 + body ? head + 4 + body : 0;
}

}  // namespace

Server::Server() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const name = reinterpret_cast<sockaddr*>(&address);
  if (::bind(listener_, name, size) != 0 || ::listen(listener_, 512) != 0 ||
      ::getsockname(listener_, name, &size) != 0) {
    std::perror("the benchmark's server");
    std::exit(1);
  }
  url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  events_ = ::epoll_create1(EPOLL_CLOEXEC);
  epoll_event event{.events = EPOLLIN, .data = {.fd = listener_}};
  ::epoll_ctl(events_, EPOLL_CTL_ADD, listener_, &event);
  std::thread([this] { run(); }).detach();
}

void Server::hold(bool held) {
  const std::lock_guard lock(mutex_);
  held_ = held;
  released_.notify_all();
}

void Server::run() {
  std::map<int, std::string> received;
  epoll_event ready[64];
  for (;;) {
    const int count = ::epoll_wait(events_, ready, 64, -1);
    for (int i = 0; i < count; ++i) {
      const int descriptor = ready[i].data.fd;
      if (descriptor == listener_) {
        accept();
      } else if (!serve(descriptor, received[descriptor])) {
        received.erase(descriptor);
        ::close(descriptor);
      }
    }
  }
}

void Server::accept() {
  const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection < 0) return;
  const int on = 1;
  ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  epoll_event event{.events = EPOLLIN, .data = {.fd = connection}};
  ::epoll_ctl(events_, EPOLL_CTL_ADD, connection, &event);
}

bool Server::serve(int connection, std::string& received) {
  char buffer[16384];
  const ssize_t size = ::read(connection, buffer, sizeof buffer);
  if (size <= 0) return false;
  received.append(buffer, static_cast<std::size_t>(size));
  while (const std::size_t request = wholeRequest(received)) {
    received.erase(0, request);
    {
      std::unique_lock lock(mutex_);
      released_.wait(lock, [this] { return !held_; });
    }
    ++answered_;
    if (::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL) < 0) return false;
  }
  return true;
}

Server& server() {
  static auto* const made = new Server();
  return *made;
}

}  // namespace corvane::bench
