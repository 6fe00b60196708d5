#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "Comparison.h"

namespace corvane::bench {

/// How long the servers of reconnects keep an idle connection (bench/nginx.conf).
constexpr std::chrono::seconds serverKeepsConnections{1};

/// What a new process shall measure: `name` is one of the functions below. The process prints its figures.
struct Work {
  std::string name;
  /// The server to use. Empty: a server in that process.
  std::string url{};
  /// The preferences file of the library.
  std::string file{};
  int count = 1;
  /// The time-out of one attempt in seconds.
  double requestTimeout = 10;
};

/// The samples of each figure. Times are in milliseconds, memory is in kilobytes.
using Figures = std::map<std::string, Samples>;

/// Runs a process for the work and returns what it printed. Throws `std::runtime_error` when it fails.
Figures measure(const Work& work);
/// The same for several processes that run at the same time.
std::vector<Figures> measureTogether(const std::vector<Work>& works);

/// Whether these are the arguments of such a process, which then runs the work and returns its exit status.
bool isWork(int count, char** arguments);
int runWork(char** arguments);

/// Prints one sample of a figure.
void print(const char* figure, double value);
/// Runs the step and prints the milliseconds that it takes, as a sample of "ms".
template <class Step>
void printTime(const Step& step) {
  Samples samples;
  time(samples, step);
  print("ms", samples.front() / 1e6);
}

/// Works of the library.
void firstConfigure(const Work& work);
void firstLaunch(const Work& work);
/// `count` events one by one on an open connection.
void eventsOneByOne(const Work& work);
/// `count` events at once on an open connection. Prints also how many failed.
void eventsAtOnce(const Work& work);
/// A link behind `count` events, until `onLink`.
void linkBehindEvents(const Work& work);
void linkBehindSilence(const Work& work);
/// `count` times an event after the server has closed the connection.
void reconnects(const Work& work);

/// Works of the footprint: memory, and wake-ups of idle threads.
void footprint(const Work& work);
void bareFootprint(const Work& work);
/// `count` events of which none gets a response, without and with task handles.
void eventsInLine(const Work& work);
void tasksInLine(const Work& work);
/// `count` events that all get a response.
void burst(const Work& work);

/// The same network works of bare libcurl.
void rawConnects(const Work& work);
void rawFirstLaunch(const Work& work);
void rawOneByOne(const Work& work);
void rawAtOnce(const Work& work);
void rawMultiplexed(const Work& work);
void rawReconnects(const Work& work);

}  // namespace corvane::bench
