#include <cstdio>
#include <exception>
#include <filesystem>
#include <string_view>

#include "Groups.h"
#include "Work.h"

namespace corvane::bench {
namespace {

void run(const char* sharedLibrary) {
  Comparisons comparisons;
  sayFootprint(comparisons);
  sayFirstConfigure(comparisons);
  sayLinkLatency(comparisons);
  const auto size = std::filesystem::file_size(sharedLibrary) / 1024;
  comparisons.say("stripped shared library", std::to_string(size) + " KB", "under 900 KB", size < 900);
  addCallingThread(comparisons);
  addStorage(comparisons);
  addNetwork(comparisons);
  comparisons.run();
  comparisons.print();
}

int run(int count, char** arguments) {
  if (isWork(count, arguments)) return runWork(arguments);
  const std::string_view first = count > 1 ? arguments[1] : "";
  if (count == 2) {
    run(arguments[1]);
  } else if (count == 4 && first == "--network") {
    printRoundTrips(std::string_view(arguments[2]) == "lossy", arguments[3]);
  } else {
    return 2;
  }
  return 0;
}

}  // namespace
}  // namespace corvane::bench

/// The arguments are the path of the stripped shared library, or `--network` with `clean` or `lossy` and the
/// web server's log, or those of a separate process (Work.h).
int main(int count, char** arguments) {
  try {
    return corvane::bench::run(count, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvane_bench: %s\n", error.what());
    return 1;
  }
}
