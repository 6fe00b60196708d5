#include "flows/EventQueue.h"

#include <utility>

#include "core/Operation.h"
#include "flows/EventQueueCodec.h"
#include "model/CodecFailure.h"

namespace corvane {

namespace asio = boost::asio;

EventQueue::EventQueue(std::shared_ptr<FlagStore> store_, std::string key_, CorvaneLogger logger_)
    : store(std::move(store_)), key(std::move(key_)), logger(logger_) {}

void EventQueue::flush(const CorvaneAPI& api) {
  std::vector<Entry> snapshot;
  {
    const std::lock_guard guard(lock);
    snapshot = load();
  }
  if (snapshot.empty()) return;
  logger.debug([&] { return "Flushing " + std::to_string(snapshot.size()) + " queued event(s)"; });
  spawn(api.background,
        [weak = weak_from_this(), snapshot = std::move(snapshot), api]() -> asio::awaitable<void> {
          const auto queue = weak.lock();
          if (queue) co_await queue->resend(snapshot, api);
        });
}

asio::awaitable<void> EventQueue::resend(std::vector<Entry> snapshot, CorvaneAPI api) {
  for (const Entry& entry : snapshot) {
    const bool delivered = co_await deliver(entry, api);
    if (delivered) {
      remove(entry.id);
    } else {
      logger.debug([&] { return "Queued event " + entry.request.name + " still failing"; });
    }
  }
}

asio::awaitable<bool> EventQueue::deliver(const Entry& entry, const CorvaneAPI& api) const {
  try {
    EventRequest request = entry.request;
    std::optional<std::string> id = entry.id;
    co_await api.sendEvent(std::move(request), std::move(id));
    co_return true;
  } catch (const std::exception&) {
    co_return false;
  }
}

void EventQueue::clear() {
  const std::lock_guard guard(lock);
  save({});
}

void EventQueue::remove(const std::string& id) {
  const std::lock_guard guard(lock);
  std::vector<Entry> entries = load();
  std::erase_if(entries, [&](const Entry& entry) { return entry.id == id; });
  save(entries);
}

std::vector<EventQueue::Entry> EventQueue::load() const {
  const auto bytes = store->dataForKey(key);
  if (!bytes) return {};
  try {
    return decodeQueue(*bytes);
  } catch (const DecodingFailure&) {
    // Unreadable bytes count as an empty queue, and stay until they are overwritten.
    return {};
  }
}

void EventQueue::save(const std::vector<Entry>& entries) const {
  store->setData(entries.empty() ? std::nullopt : std::optional(encodeQueue(entries)), key);
}

}  // namespace corvane
