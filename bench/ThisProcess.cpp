#include "ThisProcess.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace corvane::bench {

long residentKilobytes() {
  long pages = 0, ignored = 0;
  std::ifstream("/proc/self/statm") >> ignored >> pages;
  return pages * (::sysconf(_SC_PAGESIZE) / 1024);
}

long peakKilobytes() {
  std::ifstream status("/proc/self/status");
  long kilobytes = 0;
  for (std::string word; status >> word;) {
    if (word == "VmHWM:" && status >> kilobytes) break;
  }
  return kilobytes;
}

void forgetPeak() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

long switchesOfOthers(Switches which) {
  long sum = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(::gettid())) continue;
    std::ifstream status(thread.path() / "status");
    for (std::string word; status >> word;) {
      const bool isCounted =
          which == Switches::all ? word.ends_with("ctxt_switches:") : word == "voluntary_ctxt_switches:";
      long count = 0;
      if (isCounted && status >> count) sum += count;
    }
  }
  return sum;
}

}  // namespace corvane::bench
