#pragma once

#include <string>
#include <vector>

#include "model/Requests.h"

namespace corvane {

/// An event that waits to be sent again.
struct EventQueueEntry {
  /// The idempotency key that the event was first sent with, and is sent again with.
  std::string id;
  EventRequest request;

  friend bool operator==(const EventQueueEntry&, const EventQueueEntry&) = default;
};

/// Oldest first.
using EventQueueEntries = std::vector<EventQueueEntry>;

}  // namespace corvane
