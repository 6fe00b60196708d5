#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "Groups.h"
#include "Host.h"
#include "Work.h"

namespace corvane::bench {
namespace {

/// The servers behind the line: the sandbox, and a web server in front of it (bench/nginx.conf).
const std::string plain = "http://10.77.0.1:8717", web = "https://10.77.0.1:8443",
                  closingTLS12 = "https://10.77.0.1:8444", closingTLS13 = "https://10.77.0.1:8445",
                  closingHTTP2 = "https://10.77.0.1:8446";

/// All times are in milliseconds.
struct Row {
  std::string what;
  std::string url;
  std::string subject, floor;
  int count;
  /// How often subject and floor run; they alternate.
  int processes;
  std::string targetWords;
  std::function<double(double roundTrip, double floor)> target;
  /// 0: as `count`.
  int floorCount = 0;
};

std::function<double(double, double)> roundTrips(double count, double more) {
  return [=](double roundTrip, double) { return count * roundTrip + more; };
}

double timesFloor(double, double floor) {
  return 1.2 * floor;
}

const std::vector<Row> cleanRows = {
    {"first launch: `configure` to attribution", plain, "firstLaunch", "rawFirstLaunch", 1, 7,
     "2 round trips + 8 ms", roundTrips(2, 8)},
    {"the same over TLS 1.3", web, "firstLaunch", "rawFirstLaunch", 1, 7, "3 round trips + 15 ms",
     roundTrips(3, 15)},
    {"one event, open connection", plain, "eventsOneByOne", "rawOneByOne", 50, 1, "1 round trip + 2 ms",
     roundTrips(1, 2)},
    {"the same over TLS and HTTP/2", web, "eventsOneByOne", "rawOneByOne", 50, 1, "1 round trip + 2 ms",
     roundTrips(1, 2)},
    {"a link behind 1,000 events", plain, "linkBehindEvents", "rawOneByOne", 1'000, 3, "1 round trip + 20 ms",
     roundTrips(1, 20), 5},
    {"the same over TLS and HTTP/2", web, "linkBehindEvents", "rawOneByOne", 1'000, 3, "1 round trip + 20 ms",
     roundTrips(1, 20), 5},
    {"1,000 events at once, HTTP/1.1", plain, "eventsAtOnce", "rawAtOnce", 1'000, 3,
     "1.05 × 1,000 / 8 round trips", roundTrips(1.05 * 125, 0)},
    {"1,000 events at once, HTTP/2", web, "eventsAtOnce", "rawMultiplexed", 1'000, 5,
     "1.2 × libcurl, under 2 s", [](double, double floor) { return std::min(1.2 * floor, 2'000.0); }},
    {"one event, the server closed the connection, TLS 1.2", closingTLS12, "reconnects", "rawReconnects", 7,
     1, "3 round trips + 15 ms", roundTrips(3, 15)},
    {"the same with TLS 1.3", closingTLS13, "reconnects", "rawReconnects", 7, 1, "3 round trips + 15 ms",
     roundTrips(3, 15)},
    {"the same with TLS 1.2 and HTTP/2", closingHTTP2, "reconnects", "rawReconnects", 7, 1,
     "3 round trips + 15 ms", roundTrips(3, 15)}};

const std::vector<Row> lossyRows = {{"2 % loss: 1,000 events at once, HTTP/1.1", plain, "eventsAtOnce",
                                     "rawAtOnce", 1'000, 5, "1.2 × libcurl", timesFloor},
                                    {"2 % loss: 1,000 events at once, HTTP/2", web, "eventsAtOnce",
                                     "rawMultiplexed", 1'000, 7, "1.2 × libcurl", timesFloor}};

/// The sessions of the web server's log: how many connections were made, and how many of them resumed a
/// session.
struct Sessions {
  int all = 0, resumed = 0;
};

Sessions sessionsSince(const std::string& log, std::streamoff position) {
  Sessions sessions;
  std::ifstream file(log);
  file.seekg(position);
  std::string isResumed;
  for (int number = 0; file >> number >> isResumed;) {
    if (number != 1) continue;  // not the connection's first request
    ++sessions.all;
    if (isResumed == "r") ++sessions.resumed;
  }
  return sessions;
}

std::streamoff sizeOf(const std::string& log) {
  return std::ifstream(log, std::ios::ate).tellg();
}

std::string range(const Samples& samples) {
  const auto [least, most] = std::minmax_element(samples.begin(), samples.end());
  char text[96];
  std::snprintf(text, sizeof text, "%.1f ms (%.1f to %.1f)", median(samples), *least, *most);
  return text;
}

void append(Figures& all, const Figures& more) {
  for (const auto& [name, samples] : more) all[name].insert(all[name].end(), samples.begin(), samples.end());
}

void printRow(const Row& row, double roundTrip, const std::string& log) {
  static int files = 0;
  Figures subject, floor;
  Sessions sessions;
  for (int i = 0; i < row.processes; ++i) {
    Work work{.name = row.subject,
              .url = row.url,
              .file = folder() / ("network-" + std::to_string(++files)),
              .count = row.count};
    const std::streamoff position = sizeOf(log);
    append(subject, measure(work));
    sessions = sessionsSince(log, position);
    work.name = row.floor;
    if (row.floorCount != 0) work.count = row.floorCount;
    append(floor, measure(work));
  }
  Samples& failed = subject["failed"];
  const bool hasFailed = std::any_of(failed.begin(), failed.end(), [](double count) { return count > 0; });
  const double target = row.target(roundTrip, median(floor["ms"]));
  std::printf("| %s | %s%s | %s | %s = %.1f ms | %s |\n", row.what.c_str(), range(subject["ms"]).c_str(),
              hasFailed ? ", events failed" : "", range(floor["ms"]).c_str(), row.targetWords.c_str(), target,
              median(subject["ms"]) <= target && !hasFailed ? "met" : "missed");
  if (row.subject == "reconnects")
    std::printf("| its sessions that were resumed | %d of %d | | all | %s |\n", sessions.resumed,
                sessions.all - 1, sessions.resumed == sessions.all - 1 ? "met" : "missed");
  if (row.subject == "eventsOneByOne") {
    const double switches = subject["switches"].front();
    std::printf("| its voluntary context switches of library threads | %.1f | | 4.0 | %s |\n", switches,
                switches < 4.05 ? "met" : "missed");
  }
  std::fflush(stdout);
}

}  // namespace

void printRoundTrips(bool isLossy, const std::string& log) {
  const double roundTrip = median(measure({.name = "rawConnects", .url = plain, .count = 20}).at("ms"));
  if (!isLossy) {
    std::printf(
        "A round trip is %.1f ms (the median of 20 new connections). Figures: median (least to most).\n\n",
        roundTrip);
    std::printf("| what | Corvane | bare libcurl | target | |\n| --- | --- | --- | --- | --- |\n");
  }
  for (const Row& row : isLossy ? lossyRows : cleanRows) printRow(row, roundTrip, log);
}

}  // namespace corvane::bench
