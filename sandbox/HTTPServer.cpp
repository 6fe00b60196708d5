#include "HTTPServer.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "Delivery.h"
#include "IncomingRequest.h"

namespace corvane::sandbox {
namespace {

/// Blocks the signals that end the server; a descriptor that tells of them instead.
Descriptor endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return Descriptor(::signalfd(-1, &signals, SFD_CLOEXEC));
}

}  // namespace

HTTPServer::HTTPServer(const Options& options, EventStreams& streams, Handler handler)
    : exitOnEOF_(options.exitOnEOF),
      handler_(std::move(handler)),
      signals_(endingSignals()),
      streams_(streams),
      listener_({.address = options.address, .port = options.port, .context = options.tls},
                [this](Connection& connection) { serve(connection); }) {}

void HTTPServer::run() {
  std::array<pollfd, 2> events{{{signals_.number(), POLLIN, 0}, {exitOnEOF_ ? STDIN_FILENO : -1, POLLIN, 0}}};
  std::array<char, 256> ignored;
  while (events[0].revents == 0) {
    if (::poll(events.data(), events.size(), -1) < 0 && errno != EINTR) return;
    if (events[1].revents != 0 && ::read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) return;
  }
}

void HTTPServer::serve(Connection& connection) {
  std::string unread;
  while (const auto incoming = readRequest(connection, unread)) {
    if (!answer(connection, *incoming)) break;
  }
  if (connection.isOpen()) connection.finish();
}

/// False when the connection ends with this answer.
bool HTTPServer::answer(Connection& connection, const IncomingRequest& incoming) {
  if (incoming.refusal) return deliver(connection, *incoming.refusal, incoming);
  std::unique_lock lock(handling_);
  Request request = incoming.request;
  request.origin =
      request.host.empty() ? origin() : origin().substr(0, origin().find("//") + 2) + request.host;
  const Response response = handler_(request);
  if (!response.eventStream) {
    lock.unlock();
    return deliver(connection, response, incoming);
  }
  // Joined before the next request is handled, so that the stream misses no event.
  const auto reader = streams_.join(responseHead(response, false) + response.body);
  lock.unlock();
  streams_.serve(connection, *reader);
  return false;
}

}  // namespace corvane::sandbox
