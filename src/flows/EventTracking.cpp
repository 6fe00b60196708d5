#include "flows/EventTracking.h"

#include <utility>

#include "async/BackgroundTask.h"
#include "foundation/text/UUID.h"
#include "foundation/text/Unicode.h"

namespace corvane {

namespace asio = boost::asio;

void EventTracking::trackEvent(Event event) {
  spawn(parts_.api.background, [weak = weak_from_this(), event = std::move(event)]() mutable {
    return runDetached(weak, std::move(event));
  });
}

/// `track` has logged, queued and reported a failure; the result has no receiver here.
asio::awaitable<void> EventTracking::runDetached(Weak weak, Event event) {
  const auto self = weak.lock();
  if (!self) co_return;
  try {
    co_await self->track(std::move(event));
  } catch (const std::exception&) {
  }
}

CorvaneTask<CorvaneEventResult> EventTracking::trackEventAsync(Event event) {
  auto state = std::make_shared<TaskState<CorvaneEventResult>>(parts_.core->mainThread());
  Body<CorvaneEventResult> body = [self = shared_from_this(),
                                   event = std::move(event)]() -> asio::awaitable<CorvaneEventResult> {
    co_return co_await self->track(event);
  };
  start(parts_.api.background, state, std::move(body));
  return CorvaneTask<CorvaneEventResult>(state);
}

asio::awaitable<CorvaneEventResult> EventTracking::track(Event event) {
  const std::string name = event.name;
  if (!parts_.consent.hasConsent()) {
    parts_.logger.debug([&] { return "Event '" + name + "' dropped — consent not granted"; });
    co_return CorvaneEventResult(std::nullopt, false);
  }
  const EventQueue::Entry entry{.id = randomUUIDText(), .request = makeRequest(std::move(event))};
  std::optional<Failure> failure;
  try {
    EventRequest request = entry.request;
    std::optional<std::string> id = entry.id;
    const EventAckDTO ack = co_await parts_.api.sendEvent(std::move(request), std::move(id));
    parts_.eventQueue->flush(parts_.api);
    co_return CorvaneEventResult(ack.id, ack.attributed);
  } catch (...) {
    failure = currentFailure();
  }
  parts_.logger.warning(
      [&] { return "Event '" + name + "' failed; queued for retry: " + descriptionOf(*failure); });
  // Persist before reporting, so that a reported event is never lost.
  co_await parts_.eventQueue->enqueue(entry, *parts_.api.background);
  parts_.core->deliverError(*failure);
  throwFailure(*failure);
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
