#include "support/LoopbackServer.h"

#include <strings.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>

namespace corvane::test {

namespace {

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

/// `unread` holds what came after the request before. Nothing when the client has gone.
std::optional<LoopbackRequest> readRequest(sandbox::Connection& connection, std::string& unread) {
  std::size_t end;
  while ((end = unread.find("\r\n\r\n")) == std::string::npos) {
    if (!connection.read(unread)) return std::nullopt;
  }
  LoopbackRequest request = parseHead(unread.substr(0, end));
  unread.erase(0, end + 4);
  const std::string length = request.header("Content-Length");
  const std::size_t size = length.empty() ? 0 : std::stoul(length);
  while (unread.size() < size) {
    if (!connection.read(unread)) return std::nullopt;
  }
  request.body = unread.substr(0, size);
  unread.erase(0, size);
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

LoopbackResponse LoopbackResponse::of(int status, std::string body,
                                      std::vector<std::pair<std::string, std::string>> headers) {
  std::string bytes = "HTTP/1.1 " + std::to_string(status) + " Reason\r\n";
  for (const auto& [name, value] : headers) bytes.append(name).append(": ").append(value).append("\r\n");
  bytes.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n\r\n").append(body);
  return {.bytes = std::move(bytes)};
}

LoopbackResponse LoopbackResponse::redirect(int status, std::string location) {
  return of(status, "moved", {{"Location", std::move(location)}});
}

LoopbackResponse LoopbackResponse::raw(std::string bytes) {
  return {.bytes = std::move(bytes), .then = Then::hangUp};
}
LoopbackResponse LoopbackResponse::silence() {
  return {.then = Then::silence};
}
LoopbackResponse LoopbackResponse::hangUp() {
  return {.then = Then::hangUp};
}

LoopbackServer::LoopbackServer(Handler handler, const TLSIdentity* identity, Record record)
    : handler_(std::move(handler)),
      record_(record),
      // Some tests start it before they bring the loopback device up.
      listener_({.context = identity ? identity->context() : nullptr, .isFreeBind = true},
                [this](sandbox::Connection& connection) { serve(connection); }) {}

LoopbackServer::LoopbackServer(LoopbackResponse always, const TLSIdentity* identity)
    : LoopbackServer([always = std::move(always)](const auto&) { return always; }, identity) {}

std::string LoopbackServer::url(const std::string& path, const std::string& host) const {
  const std::string origin = listener_.origin();
  return origin.substr(0, origin.find("//") + 2) + host + ":" + std::to_string(port()) + path;
}

std::vector<LoopbackRequest> LoopbackServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t LoopbackServer::requestCount() const {
  const std::lock_guard lock(mutex_);
  return requestCount_;
}

void LoopbackServer::awaitRequests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, std::chrono::minutes(1), [&] { return requestCount_ >= count; }))
    throw std::runtime_error("loopback server: " + std::to_string(requestCount_) + " requests arrived, not " +
                             std::to_string(count));
}

void LoopbackServer::awaitNoConnection() const {
  if (!listener_.awaitNoConnection()) throw std::runtime_error("loopback server: a connection stays open");
}

void LoopbackServer::serve(sandbox::Connection& connection) {
  std::string unread, ignored;
  while (const auto request = readRequest(connection, unread)) {
    keep(*request);
    const LoopbackResponse response = handler_(*request);
    if (!connection.write(response.bytes) || response.then == LoopbackResponse::Then::hangUp) return;
    if (response.then == LoopbackResponse::Then::nextRequest) continue;
    while (connection.read(ignored)) ignored.clear();
    return;
  }
}

void LoopbackServer::keep(const LoopbackRequest& request) {
  const std::lock_guard lock(mutex_);
  ++requestCount_;
  if (record_ == Record::requests) requests_.push_back(request);
  changed_.notify_all();
}

}  // namespace corvane::test
