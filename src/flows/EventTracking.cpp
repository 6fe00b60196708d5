#include "flows/EventTracking.h"

#include <algorithm>
#include <future>
#include <iterator>
#include <utility>
#include <variant>

#include "async/BackgroundThread.h"
#include "foundation/text/UUID.h"
#include "foundation/text/Unicode.h"

namespace corvane {

EventTracking::EventTracking(Collaborators collaborators)
    : parts_(std::move(collaborators)),
      route_(parts_.eventQueue->makeRoute(parts_.api)),
      tracked_(std::make_shared<BackgroundQueue>(parts_.api.background)) {}

void EventTracking::trackEvent(Event event) {
  tracked_->post([weak = weak_from_this(), event = std::move(event)]() mutable {
    if (const auto self = weak.lock()) self->begin(std::move(event), nullptr);
  });
}

CorvaneTask<CorvaneEventResult> EventTracking::trackEventAsync(Event event) {
  auto state = std::make_shared<TaskState<CorvaneEventResult>>(parts_.core->mainThread());
  auto task = std::make_shared<Awaited>(state);
  // Holds the task weakly: one that is dropped completes as cancelled.
  state->setCanceller([weak = weak_from_this(), weakTask = std::weak_ptr(task)] {
    const auto self = weak.lock();
    if (!self) return;
    self->parts_.api.background->post([self, weakTask] {
      if (const auto awaited = weakTask.lock()) self->cancel(*awaited);
    });
  });
  tracked_->post([self = shared_from_this(), event = std::move(event), task = std::move(task)]() mutable {
    self->begin(std::move(event), task);
  });
  return CorvaneTask<CorvaneEventResult>(state);
}

void EventTracking::begin(Event event, const Task& task) {
  const std::string name = event.name;
  if (!parts_.consent.hasConsent()) return drop(name, task);
  const std::string key = randomUUIDText();
  EventLine::Done done = [self = shared_from_this(), name, task](OutgoingEvent sent, EventLine::End end) {
    self->finish(name, task, std::move(sent), interpretEvent(std::move(end)));
  };
  try {
    const EventRequest request = makeRequest(std::move(event));
    const auto id = parts_.api.sendEvent(route_, request, key, EventLine::Kind::first, std::move(done));
    if (!task) return;
    task->id = id;
    if (task->isCancelled) cancel(*task);
  } catch (...) {
    fail(name, {{.key = key, .body = {}}, currentFailure(), task});
  }
}

void EventTracking::cancel(Awaited& awaited) {
  awaited.isCancelled = true;
  if (awaited.id) parts_.api.lines->events->cancel(*awaited.id);
}

void EventTracking::finish(const std::string& name, const Task& task, OutgoingEvent event, EventEnd end) {
  if (const auto* error = std::get_if<CorvaneError>(&end)) {
    fail(name, {std::move(event), *error, task});
  } else if (std::holds_alternative<CorvaneCancellationError>(end)) {
    fail(name, {std::move(event), CorvaneCancellationError(), task});
  } else {
    parts_.eventQueue->settle(event.key, *parts_.api.background);
    const auto* ack = std::get_if<EventAckDTO>(&end);
    if (ack == nullptr) return drop(name, task);
    parts_.eventQueue->flush(parts_.api);
    if (task) task->completion.complete(CorvaneEventResult(ack->id, ack->attributed));
  }
}

void EventTracking::drop(const std::string& name, const Task& task) const {
  parts_.logger.debug([&] { return "Event '" + name + "' dropped — consent not granted"; });
  if (task) task->completion.complete(CorvaneEventResult(std::nullopt, false));
}

void EventTracking::fail(const std::string& name, Failed failed) {
  parts_.logger.warning(
      [&] { return "Event '" + name + "' failed; queued for retry: " + descriptionOf(failed.failure); });
  failed_.push_back(std::move(failed));
  if (failed_.size() > 1) return;
  const bool posted = parts_.api.background->post([self = shared_from_this()] { self->storeFailed(); });
  if (!posted) storeFailed();
}

/// Persists before it reports, so that a reported event is never lost.
void EventTracking::storeFailed() {
  if (failed_.empty()) return;
  const auto batch = std::make_shared<std::vector<Failed>>(std::exchange(failed_, {}));
  std::vector<OutgoingEvent> events;
  for (Failed& failed : *batch) events.push_back(std::move(failed.event));
  const auto stored = [self = shared_from_this(), batch] {
    const bool isReporting = !self->stored_.empty();
    std::ranges::move(*batch, std::back_inserter(self->stored_));
    if (!isReporting) self->report();
  };
  parts_.eventQueue->enqueue(events, *parts_.api.background, stored);
}

void EventTracking::report() {
  for (std::size_t reported = 0; reported < portion && !stored_.empty(); ++reported) {
    const Failed failed = std::move(stored_.front());
    stored_.pop_front();
    parts_.core->deliverError(failed.failure);
    if (failed.task) failed.task->completion.complete(outcomeOf<CorvaneEventResult>(failed.failure));
  }
  if (stored_.empty()) return;
  if (!parts_.api.background->post([self = shared_from_this()] { self->report(); })) report();
}

bool EventTracking::storeUnsentEvents(std::chrono::milliseconds timeout) {
  if (isBackgroundThread()) return storeUnsentNow();
  const auto stored = std::make_shared<std::promise<bool>>();
  auto result = stored->get_future();
  const bool posted = parts_.api.background->post(
      [self = shared_from_this(), stored] { stored->set_value(self->storeUnsentNow()); });
  return posted && result.wait_for(timeout) == std::future_status::ready && result.get();
}

bool EventTracking::storeUnsentNow() {
  tracked_->runAll();
  storeFailed();
  return parts_.eventQueue->storeUnsent(*parts_.api.lines->events, *parts_.api.background);
}

void EventTracking::dropUnsentEvents() {
  tracked_->post(
      [self = shared_from_this()] { self->parts_.eventQueue->dropUnsent(*self->parts_.api.lines->events); });
}

EventRequest EventTracking::makeRequest(Event event) const {
  std::optional<std::string> currency;
  if (event.currency) currency = uppercased(*event.currency);
  return {.identifier = parts_.deviceInfo.bundleId,
          .name = std::move(event.name),
          .value = event.value,
          .currency = std::move(currency),
          .platform = parts_.deviceInfo.platform,
          .clickId = std::nullopt,
          .deviceId = parts_.deviceId};
}

}  // namespace corvane
