#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace corvane::bench {

/// A server on a free port of 127.0.0.1 that gives every request the same small answer: one thread for all
/// connections, so that it costs two cores as little as it can. It lives as long as the process.
class Server {
 public:
  Server();

  const std::string& url() const { return url_; }
  /// Requests that were answered.
  long answered() const { return answered_; }

  /// While it is held, requests wait for their answer.
  void hold(bool held);

 private:
  void run();
  void accept();
  /// Answers what has come on that connection; false at its end.
  bool serve(int connection, std::string& received);

  int listener_ = -1;
  int events_ = -1;
  std::string url_;
  std::atomic<long> answered_ = 0;
  std::mutex mutex_;
  std::condition_variable released_;
  bool held_ = false;
};

/// The one of this process.
Server& server();

}  // namespace corvane::bench
