#include "Relay.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

namespace corvane::test {

namespace {

sandbox::Descriptor connectTo(std::uint16_t port) {
  sandbox::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
  return socket;
}

}  // namespace

Relay::Relay(std::uint16_t server)
    : server_(server), listener_({}, [this](sandbox::Connection& client) { serve(client); }) {}

void Relay::awaitNoConnection() const {
  if (!listener_.awaitNoConnection()) throw std::runtime_error("relay: a connection stays open");
}

void Relay::serve(sandbox::Connection& client) {
  const sandbox::Descriptor server = connectTo(server_);
  const int generation = generation_;
  std::array<pollfd, 2> ends{{{client.socket(), POLLIN, 0}, {server.number(), POLLIN, 0}}};
  std::array<char, 16384> bytes;
  while (::poll(ends.data(), ends.size(), -1) > 0) {
    for (std::size_t from = 0; from < 2; ++from) {
      if (ends[from].revents == 0) continue;
      const ssize_t size = ::recv(ends[from].fd, bytes.data(), bytes.size(), 0);
      if (size <= 0) return;
      if (generation != generation_) continue;
      if (::send(ends[1 - from].fd, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL) != size)
        return;
    }
  }
}

}  // namespace corvane::test
