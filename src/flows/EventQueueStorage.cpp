#include "flows/EventQueueStorage.h"

#include <utility>

#include "flows/EventQueueCodec.h"
#include "foundation/Suspend.h"
#include "model/CodecFailure.h"

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

EventQueueStorage::Claim::Claim(std::shared_ptr<EventQueueStorage> storage, EventQueueEntries entries)
    : storage_(std::move(storage)), entries_(std::move(entries)) {}

EventQueueStorage::Claim::~Claim() {
  release();
}

void EventQueueStorage::Claim::noteFailure(const std::string& id) const {
  const std::lock_guard guard(storage_->lock);
  storage_->beingSent_[id].failed = true;
}

bool EventQueueStorage::Claim::release() const {
  if (released_.exchange(true)) return false;
  bool wantedAgain = false;
  const std::lock_guard guard(storage_->lock);
  for (const EventQueueEntry& entry : entries_) {
    const auto attempt = storage_->beingSent_.extract(entry.id);
    wantedAgain |= attempt && attempt.mapped().wantedAgain;
  }
  return wantedAgain;
}

EventQueueStorage::EventQueueStorage(std::shared_ptr<FlagStore> store_, std::shared_ptr<DataUpdates> updates_,
                                     std::string key_)
    : store(std::move(store_)), updates(std::move(updates_)), key(std::move(key_)) {}

EventQueueStorage::~EventQueueStorage() {
  writePending();
}

std::shared_ptr<const EventQueueStorage::Claim> EventQueueStorage::claim() {
  EventQueueEntries entries;
  {
    const std::lock_guard guard(lock);
    entries = load();
    std::erase_if(entries, [&](const EventQueueEntry& entry) { return isBeingSent(entry.id); });
    for (const EventQueueEntry& entry : entries) beingSent_.emplace(entry.id, Attempt());
  }
  return std::make_shared<const Claim>(shared_from_this(), std::move(entries));
}

bool EventQueueStorage::isBeingSent(const std::string& id) {
  const auto attempt = beingSent_.find(id);
  if (attempt == beingSent_.end()) return false;
  attempt->second.wantedAgain |= attempt->second.failed;
  return true;
}

asio::awaitable<void> EventQueueStorage::enqueue(EventQueueEntry entry, Background& background) {
  auto event = storedFormOf(entry);
  if (!event) co_return;
  // `resume` lets this task go on; `storeAndResume` calls it, with those of all that came before the write.
  std::function<void(std::function<void()>)> start = [&](std::function<void()> resume) {
    bool first = false;
    {
      const std::lock_guard guard(lock);
      pending_.add(*std::move(event));
      first = waitingToBeStored_.empty();
      waitingToBeStored_.push_back(std::move(resume));
    }
    // Whatever else fails in this turn of the background thread is added before the write begins.
    if (first && !background.post([self = shared_from_this()] { self->storeAndResume(); })) storeAndResume();
  };
  co_await suspendUntil(std::move(start));
}

void EventQueueStorage::storeAndResume() {
  std::vector<std::function<void()>> stored;
  {
    const std::lock_guard guard(lock);
    save();
    stored.swap(waitingToBeStored_);
  }
  for (const auto& resume : stored) resume();
}

void EventQueueStorage::remove(const std::string& id) {
  const std::lock_guard guard(lock);
  pending_.remove(id);
  save();
}

void EventQueueStorage::clear() {
  const std::lock_guard guard(lock);
  pending_.clear();
  save();
}

void EventQueueStorage::writePending() {
  const std::lock_guard guard(lock);
  if (!pending_.isEmpty()) save();
}

EventQueueEntries EventQueueStorage::load() const {
  auto bytes = store->dataForKey(key);
  if (!pending_.isEmpty()) bytes = bytesOf(pending_.appliedTo(read(bytes)));
  return bytes ? decodeOrNone(*bytes) : EventQueueEntries();
}

/// Makes the stored queue what `pending_` says; in memory it stays pending where that fails.
void EventQueueStorage::save() {
  StoredEvents events;
  std::optional<std::string> bytes;
  const bool written = updates->updateData(key, [&](const std::optional<std::string>& before) {
    events = pending_.appliedTo(read(before));
    return bytes = bytesOf(events);
  });
  if (!written) return;
  pending_ = EventQueueChanges({.items = maxItems, .bytes = maxBytes});
  lastBytes_ = std::move(bytes);
  lastEvents_ = std::move(events);
}

StoredEvents EventQueueStorage::read(const std::optional<std::string>& bytes) const {
  if (!bytes) return {};
  if (bytes == lastBytes_) return lastEvents_;
  StoredEvents events;
  for (const EventQueueEntry& entry : decodeOrNone(*bytes)) {
    if (auto event = storedFormOf(entry)) events.push_back(*std::move(event));
  }
  return events;
}

}  // namespace corvane
