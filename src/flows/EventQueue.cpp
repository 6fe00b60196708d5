#include "flows/EventQueue.h"

#include <utility>
#include <variant>

#include "async/BackgroundTask.h"
#include "async/Suspend.h"
#include "model/EventStoreCodec.h"

namespace corvane {

namespace asio = boost::asio;

namespace {

/// An event without a body has no JSON form.
StoredEvents storedFormsOf(const std::vector<OutgoingEvent>& events) {
  StoredEvents stored;
  for (const OutgoingEvent& event : events) {
    if (!event.body.empty()) stored.push_back({.id = event.key, .json = encodeEntry(event.key, event.body)});
  }
  return stored;
}

}  // namespace

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
  const std::shared_ptr<const EventRoute> route = makeRoute(api);
  for (const Entry& entry : snapshot->entries()) {
    const bool delivered = co_await deliver(entry, api, route);
    if (delivered) {
      events_->remove(entry.id, *api.background);
    } else {
      snapshot->noteFailure(entry.id);
      logger_.debug([&] { return "Queued event " + entry.request.name + " still failing"; });
    }
  }
  if (snapshot->release()) flush(api);
}

asio::awaitable<bool> EventQueue::deliver(const Entry& entry, const CorvaneAPI& api,
                                          std::shared_ptr<const EventRoute> route) {
  const auto delivered = std::make_shared<bool>(false);
  std::function<void(std::function<void()>)> send = [&](std::function<void()> resume) {
    const EventLine::Done done = [delivered, resume](const OutgoingEvent&, EventLine::End end) {
      *delivered = std::holds_alternative<EventAckDTO>(interpretEvent(std::move(end)));
      resume();
    };
    try {
      api.sendEvent(route, entry.request, entry.id, EventLine::Kind::resend, done);
    } catch (const CorvaneError&) {
      resume();
    }
  };
  co_await suspendUntil(std::move(send));
  co_return *delivered;
}

std::shared_ptr<const EventRoute> EventQueue::makeRoute(const CorvaneAPI& api) const {
  return api.makeEventRoute(events_.get());
}

void EventQueue::enqueue(const std::vector<OutgoingEvent>& failed, Background& background,
                         std::function<void()> stored) {
  events_->store(storedFormsOf(failed), background, std::move(stored));
}

bool EventQueue::storeUnsent(const EventLine& line, Background& background) {
  return events_->storeUnsent(storedFormsOf(line.newest(events_.get(), EventStore::maxItems)), background);
}

void EventQueue::settle(const std::string& key, Background& background) {
  events_->settle(key, background);
}

void EventQueue::dropUnsent(EventLine& line) {
  line.dropUnsent(events_.get());
}

void EventQueue::clear() {
  events_->clear();
}

}  // namespace corvane
