#include "flows/EventStoreChanges.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace corvane {

void EventStoreChanges::add(StoredEvent event) {
  if (event.json.size() > bounds_.bytes) return;
  std::erase_if(added_, [&](const StoredEvent& each) { return each.id == event.id; });
  added_.push_back(std::move(event));
  pushOutOldest(added_);
}

void EventStoreChanges::remove(const std::string& id) {
  std::erase_if(added_, [&](const StoredEvent& event) { return event.id == id; });
  removed_.insert(id);
}

void EventStoreChanges::clear() {
  cleared_ = true;
  added_.clear();
}

StoredEvents EventStoreChanges::appliedTo(StoredEvents events) const {
  if (cleared_) events.clear();
  std::erase_if(events, [&](const StoredEvent& event) {
    return removed_.contains(event.id) ||
           std::ranges::find(added_, event.id, &StoredEvent::id) != added_.end();
  });
  if (added_.empty()) return events;
  events.insert(events.end(), added_.begin(), added_.end());
  pushOutOldest(events);
  return events;
}

void EventStoreChanges::pushOutOldest(StoredEvents& events) const {
  std::size_t kept = 0;
  std::size_t bytes = 0;
  while (kept < std::min(events.size(), bounds_.items)) {
    const std::size_t size = events[events.size() - kept - 1].json.size();
    if (size > bounds_.bytes - bytes) break;
    bytes += size;
    ++kept;
  }
  events.erase(events.begin(), std::prev(events.end(), static_cast<std::ptrdiff_t>(kept)));
}

}  // namespace corvane
