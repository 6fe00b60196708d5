#include "flows/EventStore.h"

#include <utility>

#include "model/CodecFailure.h"
#include "model/EventStoreCodec.h"

namespace corvane {

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
  bool first = false;
  {
    const std::lock_guard lock(mutex_);
    for (StoredEvent& event : events) {
      beingSent_.erase(event.id);
      pending_.add(std::move(event));
    }
    first = waitingToBeStored_.empty();
    waitingToBeStored_.push_back(std::move(stored));
  }
  // Other events that fail in this turn of the background thread are added before the write begins.
  if (first && !background.post([self = shared_from_this()] { self->writeAndReport(); })) writeAndReport();
}

void EventStore::writeAndReport() {
  std::vector<std::function<void()>> stored;
  {
    const std::lock_guard lock(mutex_);
    save();
    stored.swap(waitingToBeStored_);
  }
  for (const auto& report : stored) report();
}

bool EventStore::storeUnsent(StoredEvents events) {
  const std::lock_guard lock(mutex_);
  for (StoredEvent& event : events) {
    beingSent_.emplace(event.id, Attempt());
    pending_.add(std::move(event));
  }
  if (!pending_.isEmpty()) save();
  return pending_.isEmpty();
}

void EventStore::settle(const std::string& id) {
  const std::lock_guard lock(mutex_);
  if (beingSent_.erase(id) == 0) return;
  pending_.remove(id);
  save();
}

void EventStore::remove(const std::string& id) {
  const std::lock_guard lock(mutex_);
  pending_.remove(id);
  save();
}

void EventStore::clear() {
  const std::lock_guard lock(mutex_);
  pending_.clear();
  save();
}

void EventStore::writePending() {
  const std::lock_guard lock(mutex_);
  if (!pending_.isEmpty()) save();
}

EventQueueEntries EventStore::load() const {
  auto bytes = store_->dataForKey(key_);
  if (!pending_.isEmpty()) bytes = bytesOf(pending_.appliedTo(read(bytes)));
  return bytes ? decodeOrNone(*bytes) : EventQueueEntries();
}

/// Applies `pending_` to the stored queue. Where that fails, it stays pending in memory.
void EventStore::save() {
  StoredEvents events;
  std::optional<std::string> bytes;
  const bool written = updates_->updateData(key_, [&](const std::optional<std::string>& before) {
    events = pending_.appliedTo(read(before));
    return bytes = bytesOf(events);
  });
  if (!written) return;
  pending_ = EventStoreChanges({.items = maxItems, .bytes = maxBytes});
  lastBytes_ = std::move(bytes);
  lastEvents_ = std::move(events);
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
