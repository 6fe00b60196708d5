#include <corvane/CorvaneMainQueue.h>
#include <malloc.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <thread>

#include "lifetime/host/Host.h"
#include "support/Build.h"

namespace corvane::test {
namespace {

using std::filesystem::directory_iterator;

/// The value that a file of /proc holds after `name`.
std::string fieldOf(const std::filesystem::path& file, const std::string& name) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(name)) return line.substr(line.find_first_not_of(" \t", name.size()));
  }
  return {};
}

/// A field of the status of every thread but the main one, by name and number.
std::map<std::string, std::string> ofThreads(const std::string& field) {
  std::map<std::string, std::string> found;
  for (const auto& thread : directory_iterator("/proc/self/task")) {
    const auto number = thread.path().filename().string();
    const auto status = thread.path() / "status";
    if (number != fieldOf(status, "Tgid:"))
      found[fieldOf(status, "Name:") + " " + number] = fieldOf(status, field);
  }
  return found;
}

struct Footprint {
  std::size_t heap;
  long resident;  // KiB
  long descriptors;
};

Footprint footprint(const char* when) {
  malloc_trim(0);
  const Footprint now{
      .heap = mallinfo2().uordblks + mallinfo2().hblkhd,
      .resident = std::stol(fieldOf("/proc/self/status", "VmRSS:")),
      .descriptors = std::distance(directory_iterator("/proc/self/fd"), directory_iterator())};
  std::printf("%s: %zu bytes of heap, %ld KiB resident, %ld descriptors\n", when, now.heap, now.resident,
              now.descriptors);
  return now;
}

/// Makes clients, and destroys every second one while its install is in flight.
void configureOften() {
  std::vector<std::shared_ptr<Corvane>> clients;
  std::vector<CorvaneTask<CorvaneAttribution>> tasks;
  for (int i = 0; i < 1000; ++i) {
    const auto client = Corvane::configure(
        "cv_live_test", {.requestTimeout = 60, .retryPolicy = CorvaneRetryPolicy::disabled});
    client->onError([weak = std::weak_ptr(client)](const std::exception&) {});
    tasks.push_back(client->trackInstallAsync(true));
    if (i % 2 == 0) clients.push_back(client);
  }
  for (const auto& task : tasks) {
    try {
      task.get();
    } catch (const CorvaneCancellationError&) {
      // Its client was destroyed before it began.
    }
  }
  clients.clear();
  tasks.clear();
  Corvane::setShared(nullptr);
  settle();
  // The callbacks of destroyed clients are destroyed there, some of them by others.
  while (CorvaneMainQueue::main()->poll() > 0) {
  }
}

}  // namespace

/// Does the same twice. What the first time leaves is made once per process; the second time must leave
/// nothing.
int configureAThousandTimes(const Host& host) {
  prepare(host);
  configureOften();
  const Footprint before = footprint("before");
  configureOften();
  const Footprint after = footprint("after");
  if (after.descriptors > before.descriptors) return 2;
  if (underSanitizer) return 0;  // its allocator keeps freed memory and counts differently
  if (after.heap > before.heap + 128 * 1024) return 3;
  if (after.resident > before.resident + 2 * 1024) return 4;
  return 0;
}

/// Only the passage of time shows that a thread does not wake up.
int idle(const Host& host) {
  prepare(host);
  configure()->trackInstallAsync(false).get();
  settle();
  // On a busy machine a thread may take long to fall asleep.
  std::map<std::string, std::string> before;
  for (auto latest = ofThreads("voluntary_ctxt_switches:"); before != latest;) {
    before = std::exchange(latest, {});
    std::this_thread::sleep_for(std::chrono::seconds(1));
    latest = ofThreads("voluntary_ctxt_switches:");
  }
  std::this_thread::sleep_for(std::chrono::seconds(5));
  const auto after = ofThreads("voluntary_ctxt_switches:");
  for (const auto& [thread, count] : after) std::printf("%s: %s wake-ups\n", thread.c_str(), count.c_str());
  return before.empty() || before != after ? 1 : 0;
}

/// Checks that the host's signal mask and handlers do not change and that the library's threads block all
/// signals.
int leaveSignalsAlone(const Host& host) {
  // All but the two that cannot be blocked, and two of the C library.
  const auto signals = [](const std::string& mask) {
    constexpr auto possible = ~(1ULL << (SIGKILL - 1) | 1ULL << (SIGSTOP - 1) | 3ULL << 31);
    return std::stoull(mask, nullptr, 16) & possible;
  };
  const auto ofHost = [&] {
    std::vector<unsigned long long> all;
    for (const char* name : {"SigBlk:", "SigCgt:", "SigIgn:"})
      all.push_back(signals(fieldOf("/proc/thread-self/status", name)));
    return all;
  };
  std::signal(SIGTERM, [](int) {});
  const auto before = ofHost();
  const auto threadsBefore = ofThreads("SigBlk:");
  prepare(host);
  configure()->trackInstallAsync(true).get();
  settle();
  if (ofHost() != before) return 1;
  const auto threads = ofThreads("SigBlk:");
  for (const auto& [thread, mask] : threads) {
    if (threadsBefore.contains(thread) || signals(mask) == signals("FFFFFFFFFFFFFFFF")) continue;
    std::fprintf(stderr, "%s blocks %s only\n", thread.c_str(), mask.c_str());
    return 2;
  }
  return threads.size() > threadsBefore.size() ? 0 : 3;
}

}  // namespace corvane::test
