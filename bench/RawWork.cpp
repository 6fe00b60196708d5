#include <chrono>
#include <thread>

#include "RawHTTP.h"
#include "Work.h"

namespace corvane::bench {
namespace {

void postAtOnce(MultiLoop&& multi, int count) {
  multi.post(1);
  printTime([&] { multi.post(count); });
}

}  // namespace

void rawConnects(const Work& work) {
  for (int i = 0; i < work.count; ++i) print("ms", connectMilliseconds());
}

void rawFirstLaunch(const Work&) {
  printTime([] { EasyLoop("/v1/events/install", installBody()).post(); });
}

void rawOneByOne(const Work& work) {
  EasyLoop loop;
  loop.post();
  for (int i = 0; i < work.count; ++i) printTime([&] { loop.post(); });
}

void rawAtOnce(const Work& work) {
  postAtOnce(MultiLoop(8), work.count);
}

void rawMultiplexed(const Work& work) {
  postAtOnce(MultiLoop(work.count, MultiLoop::Connections::one), work.count);
}

void rawReconnects(const Work& work) {
  EasyLoop loop;
  loop.shareSessions();
  loop.post();
  for (int i = 0; i < work.count; ++i) {
    std::this_thread::sleep_for(serverKeepsConnections + std::chrono::milliseconds(500));
    printTime([&] { loop.post(); });
  }
}

}  // namespace corvane::bench
