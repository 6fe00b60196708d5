#include <cstdio>
#include <filesystem>

#include "Groups.h"

using namespace corvane::bench;

/// The argument is the path of the stripped shared library.
int main(int count, char** arguments) {
  if (count == 2 && isFootprintOption(arguments[1])) return runFootprint(arguments[1]);
  Comparisons comparisons;
  // Runs first, while this process is idle.
  sayFootprint(comparisons, arguments[0]);
  if (count == 2) {
    const auto bytes = std::filesystem::file_size(arguments[1]);
    comparisons.say("stripped shared library", std::to_string(bytes / 1024) + " KB", "under 900 KB");
  }
  addCallingThread(comparisons);
  addStorage(comparisons);
  addNetwork(comparisons);
  comparisons.run();
  comparisons.print();
}
