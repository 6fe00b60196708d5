#pragma once

#include <boost/asio/awaitable.hpp>
#include <memory>
#include <optional>
#include <string>

#include "corvane/CorvaneEventResult.h"
#include "flows/ClientParts.h"
#include "flows/EventQueue.h"

namespace corvane {

/// Sends the host's events. An event that fails, for any reason, goes into the queue with the idempotency key
/// that it was sent with; every success starts a flush of the queue. Without consent an event is dropped.
///
/// The public forms are called from any thread and return at once; everything else runs on the background
/// executor. Background work holds this object, and with it the client, weakly until it runs and strongly
/// while it does.
class EventTracking : public std::enable_shared_from_this<EventTracking> {
 public:
  struct Collaborators : ClientParts {
    std::shared_ptr<EventQueue> eventQueue;
  };

  /// The arguments of `trackEvent`, unchanged.
  struct Event {
    std::string name;
    std::optional<double> value;
    std::optional<std::string> currency;
  };

  explicit EventTracking(Collaborators collaborators) : parts_(std::move(collaborators)) {}

  void trackEvent(Event event);
  CorvaneTask<CorvaneEventResult> trackEventAsync(Event event);

 private:
  using Weak = std::weak_ptr<EventTracking>;

  static boost::asio::awaitable<void> runDetached(Weak weak, Event event);
  boost::asio::awaitable<CorvaneEventResult> track(Event event);
  EventRequest makeRequest(Event event) const;

  const Collaborators parts_;
};

}  // namespace corvane
