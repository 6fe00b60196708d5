#include "http/Listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace corvane::sandbox {
namespace {

using namespace std::chrono_literals;

constexpr int backlog = 512;

}  // namespace

Listener::Listener(Options options, Serve serve) : options_(std::move(options)), serve_(std::move(serve)) {
  listen();
  sigset_t all, before;
  sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);  // the new thread and those it starts inherit this
  acceptor_ = std::thread([this] { acceptConnections(); });
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Listener::~Listener() {
  {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
    changed_.notify_all();
    ::shutdown(listener_.number(), SHUT_RDWR);
    for (const int socket : open_) ::shutdown(socket, SHUT_RDWR);
  }
  acceptor_.join();
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return running_.empty(); });
  for (std::thread& thread : finished_) thread.join();
}

void Listener::listen() {
  const std::string place = options_.address + " port " + std::to_string(options_.port);
  const auto require = [&place](bool holds, const char* reason) {
    if (!holds) throw std::runtime_error("cannot listen on " + place + ": " + reason);
  };
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST | AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  require(::getaddrinfo(options_.address.c_str(), std::to_string(options_.port).c_str(), &hints, &found) == 0,
          "not an IP address");
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> address(found, ::freeaddrinfo);
  listener_ = Descriptor(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int yes = 1;
  ::setsockopt(listener_.number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  if (options_.isFreeBind) ::setsockopt(listener_.number(), IPPROTO_IP, IP_FREEBIND, &yes, sizeof yes);
  const bool isListening = ::bind(listener_.number(), address->ai_addr, address->ai_addrlen) == 0 &&
                           ::listen(listener_.number(), backlog) == 0;
  require(isListening, std::strerror(errno));
  sockaddr_in6 own{};  // a port is at the same place in IPv4's
  socklen_t size = sizeof own;
  ::getsockname(listener_.number(), reinterpret_cast<sockaddr*>(&own), &size);
  port_ = ntohs(own.sin6_port);
}

std::string Listener::origin() const {
  const bool isIPv6 = options_.address.find(':') != std::string::npos;
  const std::string host = isIPv6 ? "[" + options_.address + "]" : options_.address;
  return (options_.context ? "https://" : "http://") + host + ":" + std::to_string(port_);
}

std::size_t Listener::accepted() const {
  const std::lock_guard lock(mutex_);
  return accepted_;
}

bool Listener::awaitNoConnection() const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, 1min, [this] { return open_.empty(); });
}

void Listener::acceptConnections() {
  while (mayAccept()) {
    Descriptor socket(::accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC));
    if (socket.isOpen()) {
      start(std::move(socket));
    } else {
      // Most likely this process has no descriptor left: wait for a connection to end.
      std::unique_lock lock(mutex_);
      changed_.wait_for(lock, 100ms, [this] { return isStopping_; });
    }
  }
}

/// Waits for room; false when the listener goes.
bool Listener::mayAccept() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return isStopping_ || open_.size() < maxConnections; });
  Threads ended = std::exchange(finished_, {});
  lock.unlock();
  for (std::thread& thread : ended) thread.join();
  lock.lock();
  return !isStopping_;
}

void Listener::start(Descriptor socket) {
  const std::lock_guard lock(mutex_);
  if (isStopping_) return;
  ++accepted_;
  open_.push_back(socket.number());
  const int number = socket.number();
  const auto self = running_.emplace(running_.end());
  try {
    *self = std::thread([this, self, socket = std::move(socket)]() mutable { run(std::move(socket), self); });
  } catch (const std::system_error&) {
    // The process has no thread left: this connection is closed, and others may be served.
    running_.erase(self);
    open_.remove(number);
  }
}

void Listener::run(Descriptor socket, Threads::iterator self) {
  const int number = socket.number();
  {
    Connection connection(std::move(socket), options_.context);
    if (connection.isOpen()) serve_(connection);
    const std::lock_guard lock(mutex_);
    open_.remove(number);  // before its number can be another's
  }
  const std::lock_guard lock(mutex_);
  finished_.splice(finished_.end(), running_, self);
  changed_.notify_all();
}

}  // namespace corvane::sandbox
