#include <cstdio>
#include <string>
#include <vector>

#include "Groups.h"
#include "Host.h"
#include "Server.h"
#include "Work.h"

namespace corvane::bench {
namespace {

constexpr int launches = 200;
const std::vector<int> eventsBefore = {0, 20, 100};

std::string milliseconds(double value) {
  char text[32];
  std::snprintf(text, sizeof text, value < 10 ? "%.2f ms" : "%.0f ms", value);
  return text;
}

/// The time-outs differ in length only; the processes wait at the same time.
void sayLinks(Comparisons& comparisons, double requestTimeout) {
  std::vector<Work> works;
  for (const int events : eventsBefore) {
    works.push_back(
        {.name = "linkBehindSilence",
         .url = silentServerURL(),
         .file = folder() / ("link-" + std::to_string(works.size()) + "-" + std::to_string(requestTimeout)),
         .count = events,
         .requestTimeout = requestTimeout});
  }
  const std::vector<Figures> figures = measureTogether(works);
  const double alone = figures.front().at("ms").front();
  for (std::size_t i = 0; i < works.size(); ++i) {
    const double behind = figures[i].at("ms").front();
    comparisons.say("`onLink` behind " + std::to_string(works[i].count) +
                        " events, the backend never responds, time-out " +
                        std::to_string(int(requestTimeout)) + " s",
                    milliseconds(behind), i == 0 ? "" : milliseconds(alone + 100), behind <= alone + 100);
  }
}

}  // namespace

void sayFirstConfigure(Comparisons& comparisons) {
  const Work work{.name = "firstConfigure", .url = silentServerURL(), .file = folder() / "first-configure"};
  measure(work);  // creates the file
  Samples samples;
  for (int i = 0; i < launches; ++i) samples.push_back(measure(work).at("ms").front());
  comparisons.say("the first `configure` of a process, existing file",
                  milliseconds(median(samples)) + " (p99 " + milliseconds(percentile99(samples)) + ")",
                  "1.2 ms", median(samples) <= 1.2);
}

void sayLinkLatency(Comparisons& comparisons) {
  sayLinks(comparisons, 1);
  sayLinks(comparisons, 10);
}

}  // namespace corvane::bench
