#include "Work.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "Server.h"
#include "process/ChildProcess.h"

namespace corvane::bench {
namespace {

struct NamedWork {
  const char* name;
  void (*run)(const Work&);
};

constexpr NamedWork known[] = {{"firstConfigure", firstConfigure},
                               {"firstLaunch", firstLaunch},
                               {"eventsOneByOne", eventsOneByOne},
                               {"eventsAtOnce", eventsAtOnce},
                               {"linkBehindEvents", linkBehindEvents},
                               {"linkBehindSilence", linkBehindSilence},
                               {"reconnects", reconnects},
                               {"footprint", footprint},
                               {"bareFootprint", bareFootprint},
                               {"eventsInLine", eventsInLine},
                               {"tasksInLine", tasksInLine},
                               {"burst", burst},
                               {"rawConnects", rawConnects},
                               {"rawFirstLaunch", rawFirstLaunch},
                               {"rawOneByOne", rawOneByOne},
                               {"rawAtOnce", rawAtOnce},
                               {"rawMultiplexed", rawMultiplexed},
                               {"rawReconnects", rawReconnects}};

constexpr int argumentCount = 7;

std::unique_ptr<test::ChildProcess> start(const Work& work) {
  return std::make_unique<test::ChildProcess>(
      "/proc/self/exe",
      std::vector<std::string>{"--work", work.name, work.url, work.file, std::to_string(work.count),
                               std::to_string(work.requestTimeout)});
}

Figures finish(test::ChildProcess& process, const Work& work) {
  const test::ChildEnd end = process.awaitEnd(std::chrono::minutes(10));
  if (end.status != 0)
    throw std::runtime_error(work.name + " failed with status " + std::to_string(end.status));
  Figures figures;
  std::istringstream output(end.output);
  std::string name;
  for (double value = 0; output >> name >> value;) figures[name].push_back(value);
  return figures;
}

}  // namespace

Figures measure(const Work& work) {
  return measureTogether({work}).front();
}

std::vector<Figures> measureTogether(const std::vector<Work>& works) {
  std::vector<std::unique_ptr<test::ChildProcess>> processes;
  for (const Work& each : works) processes.push_back(start(each));
  std::vector<Figures> figures;
  for (std::size_t i = 0; i < works.size(); ++i) figures.push_back(finish(*processes[i], works[i]));
  return figures;
}

bool isWork(int count, char** arguments) {
  return count == argumentCount && std::string_view(arguments[1]) == "--work";
}

int runWork(char** arguments) {
  const Work work{.name = arguments[2],
                  .url = arguments[3],
                  .file = arguments[4],
                  .count = std::atoi(arguments[5]),
                  .requestTimeout = std::atof(arguments[6])};
  if (!work.url.empty()) useServer(work.url);
  for (const NamedWork& each : known) {
    if (work.name != each.name) continue;
    each.run(work);
    return 0;
  }
  return 2;
}

void print(const char* figure, double value) {
  std::printf("%s %.3f\n", figure, value);
  std::fflush(stdout);
}

}  // namespace corvane::bench
