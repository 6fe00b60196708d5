#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace corvane::bench {

/// The body of one tracked event, as the library sends it.
std::string eventBody();

/// Sends POST requests one after the other with a bare easy handle and a kept connection.
class EasyLoop {
 public:
  EasyLoop();
  ~EasyLoop();
  EasyLoop(const EasyLoop&) = delete;
  EasyLoop& operator=(const EasyLoop&) = delete;

  void post();

 private:
  void* handle_;
  void* headers_;
  std::string body_ = eventBody();
  std::string response_;
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

/// Sends `count` requests with a multi handle, `width` of them at a time.
void postOnMulti(int count, int width);

}  // namespace corvane::bench
