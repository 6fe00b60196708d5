#include <corvane/CorvaneMainQueue.h>
#include <curl/curl.h>
#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <map>
#include <set>
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

std::set<std::string> threads() {
  std::set<std::string> found;
  for (const auto& thread : directory_iterator("/proc/self/task")) found.insert(thread.path().filename());
  return found;
}

/// The context switches of every thread but this one, by name and number.
std::map<std::string, std::string> switches() {
  std::map<std::string, std::string> found;
  for (const std::string& thread : threads()) {
    if (thread == std::to_string(getpid())) continue;
    const auto status = std::filesystem::path("/proc/self/task") / thread / "status";
    found[fieldOf(status, "Name:") + " " + thread] =
        fieldOf(status, "voluntary_ctxt_switches:") + " + " + fieldOf(status, "nonvoluntary_ctxt_switches:");
  }
  return found;
}

struct Footprint {
  std::size_t heap;
  long resident;  // KiB
  long descriptors;
};

Footprint footprint() {
  malloc_trim(0);
  return {.heap = mallinfo2().uordblks + mallinfo2().hblkhd,
          .resident = std::stol(fieldOf("/proc/self/status", "VmRSS:")),
          .descriptors = std::distance(directory_iterator("/proc/self/fd"), directory_iterator())};
}

void tellServer(const std::string& url) {
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_perform(easy);
  curl_easy_cleanup(easy);
}

/// Clients of which every other one is dropped with its run in flight. The server answers when all have
/// begun.
void configureOften(const Host& host, int count) {
  tellServer(host.baseURL + "/hold");
  std::vector<std::shared_ptr<Corvane>> clients;
  std::vector<CorvaneTask<CorvaneAttribution>> tasks;
  for (int i = 0; i < count; ++i) {
    const auto client = Corvane::configure(
        "cv_live_test", {.requestTimeout = 60, .retryPolicy = CorvaneRetryPolicy::disabled});
    client->onError([weak = std::weak_ptr(client)](const std::exception&) {});
    tasks.push_back(client->trackInstallAsync(false));
    if (i % 2 == 0) clients.push_back(client);
  }
  tellServer(host.baseURL + "/release");
  for (const auto& task : tasks) {
    try {
      task.get();
    } catch (const std::exception&) {
      // Refused by the server, or cancelled with its client.
    }
  }
  clients.clear();
  tasks.clear();
  Corvane::setShared(nullptr);
  settle();
  // Callbacks of dying clients die there, some by what others hold.
  while (CorvaneMainQueue::main()->poll() > 0) {
  }
}

void print(const char* when, const Footprint& now) {
  std::printf("%s: %zu bytes of heap, %ld KiB resident, %ld descriptors\n", when, now.heap, now.resident,
              now.descriptors);
}

}  // namespace

/// The same twice: what stays after the first time is made once; the second time must leave nothing.
int configureAThousandTimes(const Host& host) {
  prepare(host);
  configureOften(host, 1000);
  const Footprint before = footprint();
  configureOften(host, 1000);
  const Footprint after = footprint();
  print("before", before);
  print("after", after);
  if (after.descriptors > before.descriptors) return 2;
  if (underSanitizer) return 0;  // whose allocator keeps what was freed, and counts differently
  if (after.heap > before.heap + 128 * 1024) return 3;
  if (after.resident > before.resident + 2 * 1024) return 4;
  return 0;
}

/// A thread that has nothing to do is only told from a slow one by letting time pass.
int idle(const Host& host) {
  prepare(host);
  const auto client = configure();
  client->onAttribution([](const CorvaneAttribution&) { CorvaneMainQueue::main()->stop(); });
  CorvaneMainQueue::main()->run();
  settle();
  // The last of them may still be on its way into its sleep.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const auto before = switches();
  std::this_thread::sleep_for(std::chrono::seconds(5));
  const auto after = switches();
  for (const auto& [thread, count] : after) {
    const auto known = before.find(thread);
    std::printf("%s: %s, then %s\n", thread.c_str(), known == before.end() ? "none" : known->second.c_str(),
                count.c_str());
  }
  return before.empty() || before != after ? 1 : 0;
}

/// The host's mask and handlers stay, and the library's threads block all signals.
int leaveSignalsAlone(const Host& host) {
  const auto handlers = [] {
    std::map<int, sighandler_t> found;
    for (int signal = 1; signal <= 64; ++signal) {
      struct sigaction action{};
      sigaction(signal, nullptr, &action);
      found[signal] = action.sa_handler;
    }
    return found;
  };
  const auto mask = [] { return fieldOf("/proc/thread-self/status", "SigBlk:"); };
  struct sigaction own{};
  own.sa_handler = [](int) {};
  sigaction(SIGTERM, &own, nullptr);
  const auto handlersBefore = handlers();
  const auto maskBefore = mask();
  const auto threadsBefore = threads();

  prepare(host);
  const auto client = configure();
  client->trackInstallAsync(true).get();
  settle();

  int status = 0;
  const auto complain = [&](const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    status = 1;
  };
  for (const auto& [signal, handler] : handlers()) {
    if (handler != handlersBefore.at(signal))
      complain("signal " + std::to_string(signal) + " is handled anew");
  }
  if (mask() != maskBefore) complain("the mask was changed");

  std::size_t ofTheLibrary = 0;
  for (const std::string& thread : threads()) {
    if (threadsBefore.contains(thread)) continue;
    ++ofTheLibrary;
    const auto blocked =
        std::stoull(fieldOf("/proc/self/task/" + thread + "/status", "SigBlk:"), nullptr, 16);
    for (int signal = 1; signal <= 64; ++signal) {
      // Two cannot be blocked, and two are the C library's own.
      const bool cannot = signal == SIGKILL || signal == SIGSTOP || signal == 32 || signal == 33;
      if (!cannot && (blocked >> (signal - 1) & 1) == 0)
        complain("thread " + thread + " takes signal " + std::to_string(signal));
    }
  }
  if (ofTheLibrary == 0) complain("no thread of the library was found");
  return status;
}

}  // namespace corvane::test
