#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <string>
#include <thread>

#include "Groups.h"
#include "Host.h"
#include "RawHTTP.h"
#include "Server.h"
#include "ThisProcess.h"
#include "Work.h"
#include "process/SandboxProcess.h"

namespace corvane::bench {
namespace {

constexpr int eventsInLineCount = 100'000, burstCount = 10'000;
constexpr double mostInLine = 112'640;  // KB

CorvaneTask<CorvaneEventResult> trackOne(Corvane& client) {
  return client.trackEventAsync("purchase", 9.99, "EUR");
}

void track(Corvane& client, int count) {
  std::deque<CorvaneTask<CorvaneEventResult>> flying;
  for (int i = 0; i < count; ++i) {
    flying.push_back(trackOne(client));
    if (flying.size() < 64) continue;
    flying.front().get();
    flying.pop_front();
  }
  for (const auto& task : flying) task.get();
}

/// Prints the memory that `count` calls of `trackOnce` add, and ends this process without waiting for the
/// events.
template <class TrackOnce>
void printLine(const Work& work, const TrackOnce& trackOnce) {
  const auto client = configure({}, work.file.c_str());
  letItSleep();
  const long before = residentKilobytes();
  for (int i = 0; i < work.count; ++i) trackOnce(*client);
  while (!client->storeUnsentEvents()) continue;  // true when all of them are in line
  print("added", double(residentKilobytes() - before));
  std::_Exit(0);
}

std::string kilobytes(double value) {
  return std::to_string(std::lround(value)) + " KB";
}

void sayLine(Comparisons& comparisons) {
  const auto added = [](const char* work) {
    return measure(
               {.name = work, .url = silentServerURL(), .file = folder() / work, .count = eventsInLineCount})
        .at("added")
        .front();
  };
  const double plain = added("eventsInLine"), withHandles = added("tasksInLine");
  comparisons.say("100,000 events to a backend that never responds: added resident memory", kilobytes(plain),
                  kilobytes(mostInLine), plain <= mostInLine);
  const auto each = [](double all) { return std::to_string(std::lround(all * 1024 / eventsInLineCount)); };
  comparisons.say("one such event, without and with a task handle",
                  each(plain) + " and " + each(withHandles) + " bytes", "1,024 bytes and its texts",
                  std::max(plain, withHandles) <= mostInLine);
}

void sayBurst(Comparisons& comparisons) {
  const test::SandboxProcess sandbox;
  auto figures =
      measure({.name = "burst", .url = sandbox.baseURL(), .file = folder() / "burst", .count = burstCount});
  const double peak = figures["peak"].front(), later = figures["later"].front();
  comparisons.say("burst of 10,000 events: added at the peak", kilobytes(peak), "12,288 KB", peak <= 12'288);
  comparisons.say("the same, 10 s later", kilobytes(later), "4,096 KB", later <= 4'096);
}

}  // namespace

void footprint(const Work& work) {
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy::disabled}, work.file.c_str());
  track(*client, 1'000);
  const long before = residentKilobytes();
  track(*client, 100'000);
  const long after = residentKilobytes();
  letItSleep();
  const long switches = switchesOfOthers(Switches::all);
  std::this_thread::sleep_for(std::chrono::seconds(10));
  print("resident", double(before));
  print("growth", double(after - before));
  print("switches", double(switchesOfOthers(Switches::all) - switches));
}

void bareFootprint(const Work&) {
  EasyLoop loop;
  for (int i = 0; i < 1'000; ++i) loop.post();
  print("resident", double(residentKilobytes()));
}

void eventsInLine(const Work& work) {
  printLine(work, [](Corvane& client) { client.trackEvent("purchase", 9.99, "EUR"); });
}

void tasksInLine(const Work& work) {
  std::deque<CorvaneTask<CorvaneEventResult>> tasks;
  printLine(work, [&](Corvane& client) { tasks.push_back(trackOne(client)); });
}

void burst(const Work& work) {
  const auto client = configure({}, work.file.c_str());
  trackOne(*client).get();
  letItSleep();
  const long before = residentKilobytes();
  forgetPeak();
  for (int i = 1; i < work.count; ++i) client->trackEvent("purchase", 9.99, "EUR");
  trackOne(*client).get();  // events leave the line in order
  print("peak", double(peakKilobytes() - before));
  std::this_thread::sleep_for(std::chrono::seconds(10));
  print("later", double(residentKilobytes() - before));
}

void sayFootprint(Comparisons& comparisons) {
  auto library = measure({.name = "footprint", .file = folder() / "footprint"});
  auto bare = measure({.name = "bareFootprint"});
  const double resident = library["resident"].front(), bareResident = bare["resident"].front();
  comparisons.say("resident memory after `configure` and 1,000 events",
                  kilobytes(resident) + "; a bare libcurl program " + kilobytes(bareResident) + "; " +
                      kilobytes(resident - bareResident) + " more",
                  "4,096 KB more", resident - bareResident <= 4'096);
  comparisons.say("its growth over the next 100,000 events", kilobytes(library["growth"].front()), "none");
  comparisons.say("context switches of library threads, idle for 10 s after that",
                  std::to_string(std::lround(library["switches"].front())), "0",
                  library["switches"].front() == 0);
  sayLine(comparisons);
  sayBurst(comparisons);
}

}  // namespace corvane::bench
