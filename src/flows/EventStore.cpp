#include "flows/EventStore.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <iterator>
#include <utility>

#include "model/CodecFailure.h"
#include "model/EventStoreCodec.h"

namespace corvane {

namespace asio = boost::asio;

namespace {

/// Unreadable bytes count as an empty queue, and stay until they are overwritten.
EventQueueEntries decodeOrNone(const std::string& bytes) {
  try {
    return decodeQueue(bytes);
  } catch (const DecodingFailure&) {
    return {};
  }
}

std::optional<StoredEvent> storedFormOf(const EventQueueEntry& entry) {
  try {
    return StoredEvent{.id = entry.id, .json = encodeEntry(entry)};
  } catch (const EncodingFailure&) {
    return std::nullopt;
  }
}

std::optional<std::string> bytesOf(const StoredEvents& events) {
  if (events.empty()) return std::nullopt;
  std::vector<std::string_view> objects;
  for (const StoredEvent& event : events) objects.emplace_back(event.json);
  return joinEntries(objects);
}

}  // namespace

EventStore::Claim::Claim(std::shared_ptr<EventStore> events, EventQueueEntries entries)
    : events_(std::move(events)), entries_(std::move(entries)) {}

EventStore::Claim::~Claim() {
  release();
}

void EventStore::Claim::noteFailure(const std::string& id) const {
  const std::lock_guard lock(events_->mutex_);
  events_->beingSent_[id].failed = true;
}

bool EventStore::Claim::release() const {
  if (released_.exchange(true)) return false;
  bool wantedAgain = false;
  const std::lock_guard lock(events_->mutex_);
  for (const EventQueueEntry& entry : entries_) {
    const auto attempt = events_->beingSent_.extract(entry.id);
    wantedAgain |= attempt && attempt.mapped().wantedAgain;
  }
  return wantedAgain;
}

EventStore::EventStore(std::shared_ptr<FlagStore> store, std::shared_ptr<DataUpdates> updates,
                       std::string key)
    : store_(std::move(store)), updates_(std::move(updates)), key_(std::move(key)) {}

EventStore::~EventStore() {
  writePending();
}

std::shared_ptr<const EventStore::Claim> EventStore::claim() {
  EventQueueEntries entries;
  {
    const std::lock_guard lock(mutex_);
    entries = load();
    std::erase_if(entries, [&](const EventQueueEntry& entry) { return isBeingSent(entry.id); });
    for (const EventQueueEntry& entry : entries) beingSent_.emplace(entry.id, Attempt());
  }
  return std::make_shared<const Claim>(shared_from_this(), std::move(entries));
}

bool EventStore::isBeingSent(const std::string& id) {
  const auto attempt = beingSent_.find(id);
  if (attempt == beingSent_.end()) return false;
  attempt->second.wantedAgain |= attempt->second.failed;
  return true;
}

void EventStore::store(StoredEvents events, Background& background, std::function<void()> stored) {
  {
    const std::lock_guard lock(mutex_);
    for (StoredEvent& event : events) {
      beingSent_.erase(event.id);
      pending_.add(std::move(event));
    }
  }
  writeSoon(background, std::move(stored));
}

/// Writes the pending changes, together with others of this turn, and calls `stored`, unless it is empty.
void EventStore::writeSoon(Background& background, std::function<void()> stored) {
  bool first = false;
  {
    const std::lock_guard lock(mutex_);
    first = reports_.empty();
    reports_.push_back({.stored = std::move(stored)});
  }
  if (!first) return;
  // Other events that fail in this turn of the background thread are added before the write begins.
  const bool posted = background.post([self = shared_from_this(), &background] {
    asio::co_spawn(background.executor(), writeAndReport(self, background), asio::detached);
  });
  if (!posted) writeOnceAndReport(true);
}

/// Waits between the attempts, so that the background thread has other work done meanwhile. While the process
/// exits, thousands of events may fail one after the other: the last write of all takes them to the file.
asio::awaitable<void> EventStore::writeAndReport(std::shared_ptr<EventStore> self, Background& background) {
  while (!background.isExiting()) {
    const bool isDone = self->writeOnceAndReport(false);
    if (isDone) co_return;
    co_await background.wait(retryInterval);
  }
  self->reportAll();
}

void EventStore::reportAll() {
  std::vector<Report> due;
  {
    const std::lock_guard lock(mutex_);
    due.swap(reports_);
  }
  report(due);
}

void EventStore::report(const std::vector<Report>& reports) {
  for (const Report& each : reports) {
    if (each.stored) each.stored();
  }
}

/// False when some entries are still to be written and reported, and `isLast` is not set.
bool EventStore::writeOnceAndReport(bool isLast) {
  std::vector<Report> due;
  bool isDone = true;
  {
    const std::lock_guard lock(mutex_);
    const bool isLastRetry = !reports_.empty() && reports_.front().retriesLeft == 0;
    // The last retry reports the problem to the host.
    const auto wait = isLastRetry ? DataUpdates::Wait::usual : DataUpdates::Wait::brief;
    const bool isBusy = !pending_.isEmpty() && save(wait) == DataUpdates::Result::busy;
    // In the order in which they came, so that those with the fewest retries left are in front.
    auto firstKept = reports_.end();
    if (isBusy && !isLast) {
      firstKept = std::ranges::find_if(reports_, [](const Report& report) { return report.retriesLeft > 0; });
      std::for_each(firstKept, reports_.end(), [](Report& report) { --report.retriesLeft; });
    }
    due.assign(std::move_iterator(reports_.begin()), std::move_iterator(firstKept));
    reports_.erase(reports_.begin(), firstKept);
    isDone = reports_.empty();
  }
  report(due);
  return isDone;
}

bool EventStore::storeUnsent(StoredEvents events, Background& background) {
  {
    const std::lock_guard lock(mutex_);
    for (StoredEvent& event : events) {
      beingSent_.emplace(event.id, Attempt());
      pending_.add(std::move(event));
    }
    if (!pending_.isEmpty()) save(DataUpdates::Wait::usual);
    if (pending_.isEmpty()) return true;
  }
  writeSoon(background, {});
  return false;
}

void EventStore::settle(const std::string& id, Background& background) {
  {
    const std::lock_guard lock(mutex_);
    if (beingSent_.erase(id) == 0) return;
    pending_.remove(id);
  }
  writeSoon(background, {});
}

/// An entry that could not be removed is sent again at worst, under the same key.
void EventStore::remove(const std::string& id, Background& background) {
  {
    const std::lock_guard lock(mutex_);
    pending_.remove(id);
  }
  writeSoon(background, {});
}

void EventStore::clear() {
  const std::lock_guard lock(mutex_);
  pending_.clear();
  save(DataUpdates::Wait::usual);
}

void EventStore::writePending() {
  const std::lock_guard lock(mutex_);
  if (!pending_.isEmpty()) save(DataUpdates::Wait::usual);
}

EventQueueEntries EventStore::load() const {
  auto bytes = store_->dataForKey(key_);
  if (!pending_.isEmpty()) bytes = bytesOf(pending_.appliedTo(read(bytes)));
  return bytes ? decodeOrNone(*bytes) : EventQueueEntries();
}

/// Applies `pending_` to the stored queue. Where that fails, it stays pending in memory.
DataUpdates::Result EventStore::save(DataUpdates::Wait wait) {
  StoredEvents events;
  std::optional<std::string> bytes;
  const auto change = [&](const std::optional<std::string>& before) {
    events = pending_.appliedTo(read(before));
    return bytes = bytesOf(events);
  };
  const DataUpdates::Result result = updates_->updateData(key_, change, wait);
  if (result != DataUpdates::Result::done) return result;
  pending_ = EventStoreChanges({.items = maxItems, .bytes = maxBytes});
  lastBytes_ = std::move(bytes);
  lastEvents_ = std::move(events);
  return result;
}

StoredEvents EventStore::read(const std::optional<std::string>& bytes) const {
  if (!bytes) return {};
  if (bytes == lastBytes_) return lastEvents_;
  StoredEvents events;
  for (const EventQueueEntry& entry : decodeOrNone(*bytes)) {
    if (auto event = storedFormOf(entry)) events.push_back(*std::move(event));
  }
  return events;
}

}  // namespace corvane
