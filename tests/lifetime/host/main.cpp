#include <signal.h>
#include <sys/prctl.h>

#include <cstdio>
#include <map>

#include "lifetime/host/Host.h"

int main(int argc, char** argv) {
  using namespace corvane::test;
  // This program must not outlive the test.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  const std::map<std::string, int (*)(const Host&)> scenarios{
      {"endWithInstallsInFlight", endWithInstallsInFlight},
      {"useTheLibraryFromStaticDestructors", useTheLibraryFromStaticDestructors},
      {"endWithEventsInFlight", endWithEventsInFlight},
      {"trackEvents", trackEvents},
      {"trackEventsUntilKilled", trackEventsUntilKilled},
      {"storeUnsentEventsAndDie", storeUnsentEventsAndDie},
      {"configureAThousandTimes", configureAThousandTimes},
      {"idle", idle},
      {"leaveSignalsAlone", leaveSignalsAlone},
  };
  const auto scenario = argc < 4 ? scenarios.end() : scenarios.find(argv[1]);
  if (scenario == scenarios.end()) {
    std::fputs("usage: lifetime_host <scenario> <base URL> <folder> <argument>…\n", stderr);
    return 64;
  }
  return scenario->second({.baseURL = argv[2], .folder = argv[3], .arguments = {argv + 4, argv + argc}});
}
