#include <corvane/CorvaneMainQueue.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "lifetime/host/Host.h"

namespace corvane::test {
namespace {

std::shared_ptr<Corvane> configureForEvents(int attempts) {
  return configure({.retryPolicy = CorvaneRetryPolicy(attempts, 0.001, 0.001), .autoTrackInstall = false});
}

/// The names of this program's events: "<prefix>-<number>".
std::string nameOf(const Host& host, int number) {
  return host.arguments.at(0) + "-" + std::to_string(number);
}

}  // namespace

/// Exits with events in flight, queued for a connection, between two attempts, and not yet begun. Arguments:
/// their prefix, their number, and the microseconds after the first half.
int endWithEventsInFlight(const Host& host) {
  prepare(host);
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy(5, 30, 60), .autoTrackInstall = false});
  const int count = std::stoi(host.arguments.at(1));
  for (int i = 0; i < count / 2; ++i) client->trackEvent(nameOf(host, i), i);
  std::this_thread::sleep_for(std::chrono::microseconds(std::stol(host.arguments.at(2))));
  for (int i = count / 2; i < count; ++i) client->trackEvent(nameOf(host, i), i);
  sayLeaving();
  return 7;
}

/// Tracks events one after the other with two clients in turn, and exits. Arguments: their prefix and their
/// number.
int trackEvents(const Host& host) {
  prepare(host);
  const std::shared_ptr<Corvane> clients[] = {configureForEvents(1), configureForEvents(1)};
  for (int i = 0; i < std::stoi(host.arguments.at(1)); ++i) {
    try {
      clients[i % 2]->trackEventAsync(nameOf(host, i)).get();
    } catch (const std::exception&) {
    }
  }
  return 0;
}

/// Tracks events, prints those whose failure is reported, and kills itself meanwhile. Arguments: their
/// prefix, their number, and the microseconds until then.
int trackEventsUntilKilled(const Host& host) {
  prepare(host);
  const auto client = configureForEvents(2);
  for (int i = 0; i < std::stoi(host.arguments.at(1)); ++i) {
    const std::string name = nameOf(host, i);
    client->trackEventAsync(name).whenDone([name](const CorvaneTask<CorvaneEventResult>& task) {
      try {
        task.get();
      } catch (const std::exception&) {
        ::dprintf(STDOUT_FILENO, "failed %s\n", name.c_str());
      }
    });
  }
  std::thread([moment = std::stol(host.arguments.at(2))] {
    std::this_thread::sleep_for(std::chrono::microseconds(moment));
    ::raise(SIGKILL);
  }).detach();
  CorvaneMainQueue::main()->run();
  return 0;
}

/// Tracks events at once, stores what is not delivered, and kills itself. Arguments: their prefix, their
/// number, and the microseconds until the end.
int storeUnsentEventsAndDie(const Host& host) {
  prepare(host);
  const auto client = configureForEvents(3);
  for (int i = 0; i < std::stoi(host.arguments.at(1)); ++i) client->trackEvent(nameOf(host, i));
  const auto begin = std::chrono::steady_clock::now();
  const bool stored = client->storeUnsentEvents();
  const auto duration = std::chrono::steady_clock::now() - begin;
  std::printf(
      "stored %d in %lld ms\n", stored,
      static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(duration).count()));
  std::fflush(stdout);
  std::this_thread::sleep_for(std::chrono::microseconds(std::stol(host.arguments.at(2))));
  return ::kill(::getpid(), SIGKILL);
}

}  // namespace corvane::test
