#include "api/transport/ConnectivityMonitor.h"

#ifdef __linux__

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace corvane::platform {

namespace {

class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  ~Descriptor() {
    if (value_ >= 0) ::close(value_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return value_; }
  int release() { return std::exchange(value_, -1); }

 private:
  int value_;
};

/// A non-blocking route socket that receives the notifications of the given groups, or -1. The kernel
/// responds to a request before `send` returns, so no wait is needed.
int openRouteSocket(std::uint32_t groups) {
  Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (socket.get() < 0) return -1;
  if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
  return socket.release();
}

bool requestRoutes(int socket) {
  struct {
    nlmsghdr header;
    rtmsg route;
  } request{};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = RTM_GETROUTE;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.route.rtm_family = AF_UNSPEC;
  return ::send(socket, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
}

bool isLinkLocal(const rtmsg& route, const rtattr& destination) {
  if (route.rtm_family != AF_INET6 || RTA_PAYLOAD(&destination) < sizeof(in6_addr)) return false;
  in6_addr address;
  std::memcpy(&address, RTA_DATA(&destination), sizeof address);
  return IN6_IS_ADDR_LINKLOCAL(&address) || IN6_IS_ADDR_MULTICAST(&address);
}

/// Whether this entry of the routing tables uses a device that is not the loopback.
bool leadsBeyondLoopback(const nlmsghdr& message, unsigned loopback) {
  if (message.nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) return false;
  const auto& route = *static_cast<const rtmsg*>(NLMSG_DATA(&message));
  if (route.rtm_type != RTN_UNICAST || route.rtm_table == RT_TABLE_LOCAL) return false;
  // A bridge without carrier keeps its route, but nothing is reachable over it.
  if ((route.rtm_flags & (RTNH_F_DEAD | RTNH_F_LINKDOWN)) != 0) return false;
  auto remaining = static_cast<int>(RTM_PAYLOAD(&message));
  bool usable = true;
  for (const rtattr* field = RTM_RTA(&route); RTA_OK(field, remaining); field = RTA_NEXT(field, remaining)) {
    if (field->rta_type == RTA_DST && isLinkLocal(route, *field)) usable = false;
    if (field->rta_type == RTA_OIF && RTA_PAYLOAD(field) == sizeof(unsigned)) {
      unsigned device = 0;
      std::memcpy(&device, RTA_DATA(field), sizeof device);
      if (device == loopback) usable = false;
    }
  }
  return usable;
}

}  // namespace

std::unique_ptr<ConnectivityMonitor> ConnectivityMonitor::subscribe() {
  const int socket = openRouteSocket(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR |
                                     RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE);
  if (socket < 0) return nullptr;
  return std::unique_ptr<ConnectivityMonitor>(new ConnectivityMonitor(socket));
}

bool ConnectivityMonitor::hasRouteBeyondLoopback() {
  const Descriptor socket(openRouteSocket(0));
  if (socket.get() < 0 || !requestRoutes(socket.get())) return true;
  const unsigned loopback = if_nametoindex("lo");
  alignas(nlmsghdr) std::array<char, 32768> buffer;
  for (;;) {
    const ssize_t size = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return true;
    auto remaining = static_cast<unsigned>(size);
    for (auto* message = reinterpret_cast<const nlmsghdr*>(buffer.data()); NLMSG_OK(message, remaining);
         message = NLMSG_NEXT(message, remaining)) {
      if (message->nlmsg_type == NLMSG_DONE) return false;
      if (message->nlmsg_type == NLMSG_ERROR) return true;
      if (message->nlmsg_type == RTM_NEWROUTE && leadsBeyondLoopback(*message, loopback)) return true;
    }
  }
}

ConnectivityMonitor::~ConnectivityMonitor() {
  ::close(descriptor_);
}

ConnectivityMonitor::Changes ConnectivityMonitor::takeChanges() {
  // The content of a notification does not matter, so a long one may be truncated.
  std::array<char, 4096> buffer;
  Changes seen = Changes::none;
  for (;;) {
    if (::recv(descriptor_, buffer.data(), buffer.size(), 0) >= 0 || errno == ENOBUFS) {
      seen = Changes::some;  // ENOBUFS: the kernel dropped notifications
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      return seen;
    } else if (errno != EINTR) {
      return Changes::lost;
    }
  }
}

}  // namespace corvane::platform

#else

namespace corvane::platform {

std::unique_ptr<ConnectivityMonitor> ConnectivityMonitor::subscribe() {
  return nullptr;
}
bool ConnectivityMonitor::hasRouteBeyondLoopback() {
  return true;
}
ConnectivityMonitor::~ConnectivityMonitor() = default;
ConnectivityMonitor::Changes ConnectivityMonitor::takeChanges() {
  return Changes::lost;
}

}  // namespace corvane::platform

#endif
