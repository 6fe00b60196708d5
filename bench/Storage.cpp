#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <string>

#include "Groups.h"
#include "Host.h"
#include "RawStore.h"
#include "flows/EventStore.h"
#include "model/EventStoreCodec.h"
#include "platform/preferences/UserDefaultsFlagStore.h"

namespace corvane::bench {
namespace {

namespace asio = boost::asio;

/// Runs background work on the calling thread, so that only that work is measured.
class Inline : public Background {
 public:
  asio::any_io_executor executor() const override { return context_.get_executor(); }
  bool post(std::function<void()> function) override {
    asio::post(context_, std::move(function));
    return true;
  }
  bool isExiting() const override { return false; }
  asio::awaitable<WaitEnd> wait(std::chrono::nanoseconds) override { co_return WaitEnd::elapsed; }
  asio::awaitable<void> suspend(std::function<void(std::function<void()>)>) override { co_return; }

  void run() {
    context_.restart();
    context_.run();
  }

 private:
  mutable asio::io_context context_;
};

EventQueueEntry entry(int number) {
  std::string id = "5D0AC8B0-60B9-4B0F-9C6A-" + std::to_string(100'000'000'000 + number);
  return {.id = std::move(id),
          .request = {.identifier = "com.example.bench",
                      .name = "purchase",
                      .value = 9.99,
                      .currency = "EUR",
                      .platform = "iOS",
                      .clickId = {},
                      .deviceId = "5D0AC8B0-60B9-4B0F-9C6A-3F3B0C2C2B1E"}};
}

/// A full queue in a real file.
struct FullQueue {
  FullQueue() {
    for (int i = 0; i < 100; ++i) add();
  }

  void add() {
    const EventQueueEntry added = entry(++last);
    storage->store({{.id = added.id, .json = encodeEntry(added)}}, background, [] {});
    background.run();
  }

  Inline background;
  std::shared_ptr<platform::UserDefaultsFlagStore> flags = std::make_shared<platform::UserDefaultsFlagStore>(
      platform::UserDefaults::open(folder() / "full.sqlite"), "io.corvane");
  std::shared_ptr<EventStore> storage = std::make_shared<EventStore>(flags, flags, "event_queue");
  int last = 0;
};

void addEnqueue(Comparisons& comparisons) {
  const auto queue = std::make_shared<FullQueue>();
  const auto raw = std::make_shared<RawStore>(folder() / "raw-queue.sqlite");
  std::string blob = queue->flags->dataForKey("event_queue").value();
  comparisons.add({"enqueue on a full queue",
                   "one commit of a blob of that size (" + std::to_string(blob.size()) + " bytes)",
                   [queue](Samples& samples) {
                     for (int i = 0; i < 25; ++i) time(samples, [&] { queue->add(); });
                   },
                   [raw, blob](Samples& samples) mutable {
                     for (int i = 0; i < 25; ++i) {
                       // SQLite writes nothing when nothing changes.
                       blob[0] = blob[0] == '[' ? '(' : '[';
                       time(samples, [&] { raw->commit("io.corvane.event_queue", blob); });
                     }
                   },
                   ratioAtMost(1.5)});
}

/// Includes opening and closing: two files alternate, so that each `configure` opens a closed file.
void addConfigure(Comparisons& comparisons) {
  for (const char* file : {"first.sqlite", "second.sqlite"})
    configure({}, file)->trackInstallAsync(true).get();
  comparisons.add({"`configure`, existing file (under 2 ms)", "opening SQLite, reading 3 rows, closing",
                   [](Samples& samples) {
                     for (int i = 0; i < 10; ++i)
                       time(samples, [i] { configure({}, i % 2 == 0 ? "first.sqlite" : "second.sqlite"); });
                   },
                   [](Samples& samples) {
                     for (int i = 0; i < 10; ++i) {
                       time(samples, [i] {
                         RawStore store(folder() / (i % 2 == 0 ? "first.sqlite" : "second.sqlite"));
                         for (const char* key : {"io.corvane.device_id", "io.corvane.last_attribution",
                                                 "io.corvane.event_queue"})
                           store.read(key);
                       });
                     }
                   },
                   ratioAtMost(1.5)});
}

}  // namespace

void addStorage(Comparisons& comparisons) {
  addEnqueue(comparisons);
  addConfigure(comparisons);
}

}  // namespace corvane::bench
