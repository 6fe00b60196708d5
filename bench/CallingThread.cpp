#include <boost/url/parse.hpp>
#include <mutex>
#include <optional>
#include <string>

#include "Allocations.h"
#include "Groups.h"
#include "Host.h"
#include "RawStore.h"
#include "Server.h"
#include "async/BackgroundTask.h"
#include "facade/ProcessRuntime.h"
#include "foundation/CorvaneLogger.h"

namespace corvane::bench {
namespace {

constexpr int callsPerRun = 200;
constexpr int burstSize = 10'000;
constexpr const char* trackingLink = "https://go.example.com/summer/x?path=/sale&utm_source=mail";
constexpr const char* foreignLink = "https://www.example.org/summer/x?path=/sale&utm_source=mail";

std::function<void()> emptyPost() {
  return [] { processBackground()->post([] {}); };
}

/// Calls `step` repeatedly, each time after `before` and with the background thread asleep.
Measure idle(std::function<void()> before, std::function<void()> step) {
  return [before = std::move(before), step = std::move(step)](Samples& samples) {
    for (int call = 0; call < callsPerRun; ++call) {
      before();
      letItSleep();
      time(samples, step);
    }
  };
}

/// Calls `step` repeatedly without a pause.
Measure busy(std::function<void()> step, int calls = burstSize) {
  return [step = std::move(step), calls](Samples& samples) {
    letItSleep();
    for (int call = 0; call < calls; ++call) time(samples, step);
    letItSleep();
  };
}

/// The same with the backend slow, so that all of them are in flight at the end.
Measure inFlight(const std::shared_ptr<Corvane>& client) {
  return [client](Samples& samples) {
    holdServer(true);
    letItSleep();
    const std::size_t before = arrivedRequests();
    for (int call = 0; call < burstSize; ++call)
      time(samples, [&] { client->trackEvent("purchase", 9.99, "EUR"); });
    holdServer(false);
    while (arrivedRequests() < before + burstSize) letItSleep();
  };
}

std::string allocationsOf(const std::function<void()>& step) {
  step();
  const std::size_t before = allocations();
  step();
  return "; " + std::to_string(allocations() - before) + " allocations";
}

void addTracking(Comparisons& comparisons) {
  const auto client = quietClient();
  const std::function<void()> event = [client] { client->trackEvent("purchase", 9.99, "EUR"); };
  const std::function<void()> install = [client] { client->trackInstall(false); };
  const std::function<void()> before = [client] { client->trackEventAsync("purchase").get(); };
  const char* const post = "an empty post";
  comparisons.add({"`trackEvent`, idle", post, idle(before, event), idle(before, emptyPost()),
                   ratioAtMost(1.3), false, allocationsOf(event)});
  comparisons.add({"`trackInstall`, idle", post, idle(before, install), idle(before, emptyPost()),
                   ratioAtMost(1.3), false, allocationsOf(install)});
  comparisons.add({.what = "`trackEvent`, busy",
                   .floorWhat = post,
                   .subject = busy(event),
                   .floor = busy(emptyPost()),
                   .target = timeAtMost(1e3, 20e3),
                   .repetitions = 5});
  comparisons.add({.what = "`trackInstall`, busy",
                   .floorWhat = post,
                   .subject = busy(install),
                   .floor = busy(emptyPost()),
                   .target = timeAtMost(1e3, 20e3),
                   .repetitions = 5});
  const auto sending = configure({.retryPolicy = CorvaneRetryPolicy::disabled}, "sending.sqlite");
  comparisons.add({.what = "`trackEvent`, 10,000 in flight",
                   .floorWhat = post,
                   .subject = inFlight(sending),
                   .floor = busy(emptyPost()),
                   .target = timeAtMost(1e3, 20e3),
                   .repetitions = 5});
}

void addLinks(Comparisons& comparisons) {
  const auto client = configure({.linkDomains = {"go.example.com"}, .requireConsent = true}, "links.sqlite");
  const std::function<void()> before = [client] { client->handleDeepLinkAsync(trackingLink).get(); };
  const auto parse = [](const char* url) {
    const std::string text = url;
    return boost::urls::parse_uri(text).has_value();
  };
  comparisons.add({"`handleDeepLink`, rejected", "parsing the URL",
                   busy([client] { client->handleDeepLink(foreignLink); }, 1000),
                   busy([parse] { parse(foreignLink); }, 1000), ratioAtMost(2), false,
                   allocationsOf([client] { client->handleDeepLink(foreignLink); })});
  comparisons.add({"`handleDeepLink`, accepted", "parsing the URL, and an empty post",
                   idle(before, [client] { client->handleDeepLink(trackingLink); }),
                   idle(before,
                        [parse] {
                          parse(trackingLink);
                          processBackground()->post([] {});
                        }),
                   ratioAtMost(2), false, allocationsOf([client] { client->handleDeepLink(trackingLink); })});
}

void addState(Comparisons& comparisons) {
  const auto client = configure({}, "state.sqlite");
  const auto raw = std::make_shared<RawStore>(folder() / "raw-state.sqlite");
  // Each decision differs from the previous one, because SQLite writes nothing when nothing changes.
  comparisons.add({"`setConsent`", "two commits, one of which changes the file",
                   busy([client, granted = false]() mutable { client->setConsent(granted = !granted); }, 20),
                   busy(
                       [raw, granted = false]() mutable {
                         granted = !granted;
                         raw->commit("io.corvane.consent_set", "1");
                         raw->commit("io.corvane.consent_granted", granted ? "1" : "0");
                       },
                       20),
                   ratioAtMost(1.5)});
  const auto mutex = std::make_shared<std::mutex>();
  comparisons.add({"`onLink`", "a lock, and a shared copy of a function",
                   busy([client] { client->onLink([](const CorvaneDeepLink&, CorvaneLinkSource) {}); }, 1000),
                   busy(
                       [mutex] {
                         auto made = std::make_shared<const Corvane::LinkCallback>([](const auto&, auto) {});
                         static std::shared_ptr<const Corvane::LinkCallback> current;
                         const std::lock_guard lock(*mutex);
                         current.swap(made);
                       },
                       1000),
                   ratioAtMost(1.5)});
  client->trackInstallAsync(true).get();
  const auto result = std::make_shared<const std::optional<CorvaneAttribution>>(client->lastAttribution());
  comparisons.add({"`lastAttribution`", "a lock, and a copy of it",
                   busy([client] { client->lastAttribution(); }, 1000),
                   busy(
                       [mutex, result] {
                         const std::lock_guard lock(*mutex);
                         const std::optional<CorvaneAttribution> copy = *result;
                       },
                       1000),
                   ratioAtMost(1.5)});
}

void sayLogLine(Comparisons& comparisons) {
  const CorvaneLogger logger{true, CorvaneLogLevel::warning};
  const std::string name = "purchase";
  const std::size_t before = allocations();
  constexpr int count = 10'000'000;
  const auto begin = Clock::now();
  for (int i = 0; i < count; ++i) {
    logger.debug([&] { return "Event '" + name + "' is not written"; });
    asm volatile("" ::: "memory");
  }
  const std::chrono::duration<double, std::nano> taken = Clock::now() - begin;
  char text[64];
  std::snprintf(text, sizeof text, "%.2f ns, %zu allocations", taken.count() / count, allocations() - before);
  comparisons.say("a log line below the log level", text, "under 5 ns, no allocation");
}

}  // namespace

void addCallingThread(Comparisons& comparisons) {
  addTracking(comparisons);
  addLinks(comparisons);
  addState(comparisons);
  sayLogLine(comparisons);
}

}  // namespace corvane::bench
