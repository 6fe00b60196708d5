#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "Groups.h"
#include "Host.h"
#include "RawHTTP.h"
#include "RawStore.h"
#include "model/EventStoreCodec.h"
#include "platform/preferences/UserDefaults.h"

namespace corvane::bench {
namespace {

constexpr int postsPerRun = 200;
constexpr int wideRun = 2000;

CorvaneTask<CorvaneEventResult> track(Corvane& client) {
  return client.trackEventAsync("purchase", 9.99, "EUR");
}

void addOneByOne(Comparisons& comparisons, const std::shared_ptr<Corvane>& client) {
  const Measure subject = [client](Samples& samples) {
    for (int i = 0; i < postsPerRun; ++i) time(samples, [&] { track(*client).get(); });
  };
  const auto thread = std::make_shared<EasyThread>();
  comparisons.add({"`trackEventAsync(…).get()`, one by one", "libcurl on a thread that is woken for each",
                   subject,
                   [thread](Samples& samples) {
                     for (int i = 0; i < postsPerRun; ++i) time(samples, [&] { thread->post(); });
                   },
                   ratioAtMost(1.2)});
  const auto loop = std::make_shared<EasyLoop>();
  comparisons.add({"the same, for comparison", "a bare easy handle in a loop", subject,
                   [loop](Samples& samples) {
                     for (int i = 0; i < postsPerRun; ++i) time(samples, [&] { loop->post(); });
                   },
                   none()});
}

void addWide(Comparisons& comparisons, const std::shared_ptr<Corvane>& client) {
  comparisons.add({.what = "64 in flight",
                   .floorWhat = "a multi handle with 64",
                   .subject =
                       [client](Samples& samples) {
                         Samples whole;
                         time(whole, [&] {
                           std::deque<CorvaneTask<CorvaneEventResult>> flying;
                           for (int i = 0; i < wideRun; ++i) {
                             flying.push_back(track(*client));
                             if (flying.size() < 64) continue;
                             flying.front().get();
                             flying.pop_front();
                           }
                           for (const auto& task : flying) task.get();
                         });
                         samples.push_back(whole[0] / wideRun);
                       },
                   .floor =
                       [multi = std::make_shared<MultiLoop>(64)](Samples& samples) {
                         Samples whole;
                         time(whole, [&] { multi->post(wideRun); });
                         samples.push_back(whole[0] / wideRun);
                       },
                   .target = rateAtLeast(0.85),
                   .isRate = true});
}

/// A hundred stored entries as JSON objects.
std::vector<std::string> storedEntries() {
  std::vector<std::string> objects;
  for (int i = 0; i < 100; ++i) {
    objects.push_back(encodeEntry({.id = "5D0AC8B0-60B9-4B0F-9C6A-" + std::to_string(100'000'000'000 + i),
                                   .request = {.identifier = "com.example.bench",
                                               .name = "purchase",
                                               .value = 9.99,
                                               .currency = "EUR",
                                               .platform = "iOS",
                                               .clickId = {},
                                               .deviceId = "5D0AC8B0-60B9-4B0F-9C6A-3F3B0C2C2B1E"}}));
  }
  return objects;
}

std::string joined(const std::vector<std::string>& objects, std::size_t from) {
  return joinEntries({objects.begin() + static_cast<std::ptrdiff_t>(from), objects.end()});
}

void addFlush(Comparisons& comparisons) {
  const auto objects = storedEntries();
  comparisons.add({.what = "flush of 100",
                   .floorWhat = "100 posts and 100 commits on libcurl and SQLite",
                   .subject =
                       [objects](Samples& samples) {
                         const auto defaults = platform::UserDefaults::open(folder() / "flush.sqlite");
                         defaults->setData(joined(objects, 0), "io.corvane.event_queue");
                         time(samples, [&] {
                           configure({}, "flush.sqlite");
                           while (defaults->dataForKey("io.corvane.event_queue")) letItSleep();
                         });
                       },
                   .floor =
                       [objects, raw = std::make_shared<RawStore>(folder() / "raw-flush.sqlite"),
                        loop = std::make_shared<EasyLoop>()](Samples& samples) {
                         time(samples, [&] {
                           for (std::size_t left = 0; left < objects.size(); ++left) {
                             loop->post();
                             raw->commit("io.corvane.event_queue", joined(objects, left));
                           }
                         });
                       },
                   .target = ratioAtMost(1.2)});
}

}  // namespace

void addNetwork(Comparisons& comparisons) {
  const auto client = configure({.retryPolicy = CorvaneRetryPolicy::disabled}, "network.sqlite");
  addOneByOne(comparisons, client);
  addWide(comparisons, client);
  addFlush(comparisons);
}

}  // namespace corvane::bench
