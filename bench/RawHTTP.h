#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace corvane::bench {

/// The bytes of one tracked event, as the library sends them.
std::string eventBody();

/// One post on a bare easy handle after the other, the connection kept.
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
  std::string answer_;
};

/// The same on a thread of its own, which is woken for each post.
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

/// So many posts on a multi handle, `width` of them at a time.
void postOnMulti(int count, int width);

}  // namespace corvane::bench
