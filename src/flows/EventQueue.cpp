#include "flows/EventQueue.h"

#include <optional>
#include <utility>

#include "async/BackgroundTask.h"

namespace corvane {

namespace asio = boost::asio;

EventQueue::EventQueue(std::shared_ptr<EventStore> events, CorvaneLogger logger)
    : events_(std::move(events)), logger_(logger) {}

void EventQueue::flush(const CorvaneAPI& api) {
  const std::shared_ptr<const Claim> snapshot = events_->claim();
  if (snapshot->entries().empty()) return;
  logger_.debug(
      [&] { return "Flushing " + std::to_string(snapshot->entries().size()) + " queued event(s)"; });
  spawn(api.background, [weak = weak_from_this(), snapshot, api]() -> asio::awaitable<void> {
    const auto queue = weak.lock();
    if (queue) co_await queue->resend(snapshot, api);
  });
}

asio::awaitable<void> EventQueue::resend(std::shared_ptr<const Claim> snapshot, CorvaneAPI api) {
  for (const Entry& entry : snapshot->entries()) {
    const bool delivered = co_await deliver(entry, api);
    if (delivered) {
      events_->remove(entry.id);
    } else {
      snapshot->noteFailure(entry.id);
      logger_.debug([&] { return "Queued event " + entry.request.name + " still failing"; });
    }
  }
  if (snapshot->release()) flush(api);
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

asio::awaitable<void> EventQueue::enqueue(Entry entry, Background& background) {
  co_await events_->enqueue(std::move(entry), background);
}

void EventQueue::clear() {
  events_->clear();
}

}  // namespace corvane
