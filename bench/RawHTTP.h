#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace corvane::bench {

/// The body of one tracked event, as the library sends it.
std::string eventBody();

/// The body of an install report.
std::string installBody();

/// The time that a new connection to the server takes: one round trip.
double connectMilliseconds();

/// An easy handle for a POST request with the library's headers. A request that fails is sent again, and
/// standard error says so.
class RawPost {
 public:
  RawPost(const std::string& path, std::string body);
  ~RawPost();
  RawPost(const RawPost&) = delete;
  RawPost& operator=(const RawPost&) = delete;

  void* handle() const { return handle_; }
  /// Prepares the next request, which has a new key.
  void renew();

 private:
  void* handle_;
  void* headers_ = nullptr;
  std::string body_;
  std::string response_;
};

/// Sends POST requests one after the other with a bare easy handle and a kept connection.
class EasyLoop {
 public:
  explicit EasyLoop(const std::string& path = "/v1/events", std::string body = eventBody())
      : post_(path, std::move(body)) {}

  /// Resumes TLS sessions on new connections, which libcurl does with a share only.
  void shareSessions();

  void post();

 private:
  RawPost post_;
};

/// The same on a separate thread, which is woken for each request.
class EasyThread {
 public:
  EasyThread();
  ~EasyThread();
  EasyThread(const EasyThread&) = delete;
  EasyThread& operator=(const EasyThread&) = delete;

  void post();

 private:
  enum class Turn { caller, worker, end };
  void work();

  std::mutex mutex_;
  std::condition_variable changed_;
  Turn turn_ = Turn::caller;
  std::thread thread_;
};

/// Sends events with a multi handle, which keeps its connections.
class MultiLoop {
 public:
  enum class Connections {
    onePerRequest,  ///< One for each request in flight.
    one,            ///< One for all requests, which waits for the protocol (HTTP/2) and for free streams.
  };

  /// `width`: how many requests are in flight at a time.
  explicit MultiLoop(int width, Connections connections = Connections::onePerRequest);
  ~MultiLoop();
  MultiLoop(const MultiLoop&) = delete;
  MultiLoop& operator=(const MultiLoop&) = delete;

  /// Sends `count` requests.
  void post(int count);

 private:
  void begin(RawPost& post);

  void* multi_;
  std::vector<std::unique_ptr<RawPost>> posts_;
};

}  // namespace corvane::bench
