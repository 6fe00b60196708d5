#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// An entry in its stored form.
struct StoredEvent {
  std::string id;
  /// The entry's JSON object.
  std::string json;

  friend bool operator==(const StoredEvent&, const StoredEvent&) = default;
};

/// Oldest first.
using StoredEvents = std::vector<StoredEvent>;

/// How much a queue holds. Both bounds push out the oldest.
struct EventStoreBounds {
  std::size_t items;
  std::size_t bytes;
};

/// What is still to be done to the stored queue, as a value: to whatever the queue holds by then, it removes,
/// then adds. So it can wait for a file that somebody else holds, and be merged with what others wrote.
///
/// Applied twice it says the same: of a write that failed nobody knows whether it went through.
///
/// It holds no more entries than a queue may, as more of them would push each other out.
class EventStoreChanges {
 public:
  explicit EventStoreChanges(EventStoreBounds bounds) : bounds_(bounds) {}

  /// Puts the event behind all others. One that is larger than the bound is left out.
  void add(StoredEvent event);
  /// Removes every entry with this id, also one that was added here.
  void remove(const std::string& id);
  /// Removes every entry that was there so far.
  void clear();

  bool isEmpty() const { return !cleared_ && removed_.empty() && added_.empty(); }
  StoredEvents appliedTo(StoredEvents events) const;

 private:
  void pushOutOldest(StoredEvents& events) const;

  EventStoreBounds bounds_;
  bool cleared_ = false;
  std::set<std::string> removed_;
  StoredEvents added_;
};

}  // namespace corvane
