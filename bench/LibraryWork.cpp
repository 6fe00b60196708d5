#include <corvane/CorvaneMainQueue.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <thread>

#include "Host.h"
#include "ThisProcess.h"
#include "Work.h"

namespace corvane::bench {
namespace {

constexpr const char* link = "https://go.example.com/summer";

std::shared_ptr<Corvane> clientFor(const Work& work) {
  return configure({.requestTimeout = work.requestTimeout}, work.file.c_str());
}

CorvaneTask<CorvaneEventResult> track(Corvane& client) {
  return client.trackEventAsync("purchase", 9.99, "EUR");
}

void trackWithoutHandles(Corvane& client, int count) {
  for (int i = 0; i < count; ++i) client.trackEvent("purchase", 9.99, "EUR");
}

/// A client with an open connection.
std::shared_ptr<Corvane> connectedClient(const Work& work) {
  auto client = clientFor(work);
  track(*client).get();
  return client;
}

void awaitCallback(const std::function<void(std::function<void()> called)>& registerCallback) {
  const auto isCalled = std::make_shared<bool>(false);
  registerCallback([isCalled] { *isCalled = true; });
  CorvaneMainQueue::main()->runUntil([&] { return *isCalled; }, Clock::now() + std::chrono::minutes(10));
}

/// Prints how long the link takes, and ends this process without waiting for the events.
void timeLink(Corvane& client, int events) {
  trackWithoutHandles(client, events);
  printTime([&] {
    client.handleDeepLink(link);
    awaitCallback([&](auto called) {
      client.onLink([called](const CorvaneDeepLink&, CorvaneLinkSource) { called(); });
    });
  });
  std::_Exit(0);
}

}  // namespace

void firstConfigure(const Work& work) {
  std::shared_ptr<Corvane> client;
  printTime([&] { client = clientFor(work); });
}

void firstLaunch(const Work& work) {
  Corvane::setPlatform({.applicationIdentifier = "com.example.bench", .preferencesFile = work.file});
  printTime([&] {
    const auto client = Corvane::configure("cv_bench");
    awaitCallback(
        [&](auto called) { client->onAttribution([called](const CorvaneAttribution&) { called(); }); });
  });
}

void eventsOneByOne(const Work& work) {
  const auto client = connectedClient(work);
  const auto switches = [] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // until every thread sleeps
    return switchesOfOthers(Switches::voluntary);
  };
  const long before = switches();
  for (int i = 0; i < work.count; ++i) printTime([&] { track(*client).get(); });
  print("switches", double(switches() - before) / work.count);
}

void eventsAtOnce(const Work& work) {
  const auto client = connectedClient(work);
  int failed = 0;
  printTime([&] {
    std::deque<CorvaneTask<CorvaneEventResult>> tasks;
    for (int i = 0; i < work.count; ++i) tasks.push_back(track(*client));
    for (const auto& task : tasks) {
      try {
        task.get();
      } catch (const CorvaneError&) {
        ++failed;
      }
    }
  });
  print("failed", failed);
}

void linkBehindEvents(const Work& work) {
  timeLink(*connectedClient(work), work.count);
}

void linkBehindSilence(const Work& work) {
  timeLink(*clientFor(work), work.count);
}

void reconnects(const Work& work) {
  const auto client = connectedClient(work);
  for (int i = 0; i < work.count; ++i) {
    std::this_thread::sleep_for(serverKeepsConnections + std::chrono::milliseconds(500));
    printTime([&] { track(*client).get(); });
  }
}

}  // namespace corvane::bench
