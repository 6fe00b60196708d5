#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "Groups.h"
#include "Host.h"
#include "RawHTTP.h"
#include "process/ChildProcess.h"

namespace corvane::bench {
namespace {

constexpr const char* libraryMode = "--footprint";
constexpr const char* bareMode = "--bare-footprint";

long residentKilobytes() {
  long pages = 0, ignored = 0;
  std::ifstream("/proc/self/statm") >> ignored >> pages;
  return pages * (::sysconf(_SC_PAGESIZE) / 1024);
}

void track(Corvane& client, int count) {
  std::deque<CorvaneTask<CorvaneEventResult>> flying;
  for (int i = 0; i < count; ++i) {
    flying.push_back(client.trackEventAsync("purchase", 9.99, "EUR"));
    if (flying.size() < 64) continue;
    flying.front().get();
    flying.pop_front();
  }
  for (const auto& task : flying) task.get();
}

/// The context switches of every thread but the calling one.
long switchesOfOthers() {
  long sum = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(::gettid())) continue;
    std::ifstream status(thread.path() / "status");
    for (std::string word; status >> word;) {
      long count = 0;
      if (word.ends_with("ctxt_switches:") && status >> count) sum += count;
    }
  }
  return sum;
}

int runLibrary() {
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy::disabled}, "footprint.sqlite");
  track(*client, 1'000);
  const long before = residentKilobytes();
  track(*client, 100'000);
  const long after = residentKilobytes();
  letItSleep();
  const long switches = switchesOfOthers();
  std::this_thread::sleep_for(std::chrono::seconds(10));
  std::printf("resident %ld\ngrowth %ld\nswitches %ld\n", before, after - before,
              switchesOfOthers() - switches);
  return 0;
}

int runBare() {
  EasyLoop loop;
  for (int i = 0; i < 1'000; ++i) loop.post();
  std::printf("resident %ld\n", residentKilobytes());
  return 0;
}

std::map<std::string, long> figuresOf(const char* program, const char* option) {
  std::map<std::string, long> figures;
  std::istringstream output(test::runProgram(program, {option}, std::chrono::minutes(10)).output);
  std::string name;
  for (long value = 0; output >> name >> value;) figures[name] = value;
  return figures;
}

}  // namespace

bool isFootprintOption(const char* option) {
  return std::string_view(option) == libraryMode || std::string_view(option) == bareMode;
}

int runFootprint(const char* option) {
  return std::string_view(option) == bareMode ? runBare() : runLibrary();
}

void sayFootprint(Comparisons& comparisons, const char* program) {
  auto library = figuresOf(program, libraryMode);
  auto bare = figuresOf(program, bareMode);
  comparisons.say("resident memory after `configure` and 1,000 events",
                  std::to_string(library["resident"]) + " KB; a bare libcurl program " +
                      std::to_string(bare["resident"]) + " KB; " +
                      std::to_string(library["resident"] - bare["resident"]) + " KB more",
                  "4,096 KB more");
  comparisons.say("its growth over the next 100,000 events", std::to_string(library["growth"]) + " KB",
                  "none");
  comparisons.say("context switches of library threads, idle for 10 s after that",
                  std::to_string(library["switches"]), "0");
}

}  // namespace corvane::bench
