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

/// Changes that are still to be made to the stored queue, as a value: first removals, then additions. They
/// can wait while another process holds the file, and then apply to what that process wrote.
///
/// Applying them twice gives the same result: a write that failed may have taken effect.
///
/// Holds no more entries than a queue may, as more of them would push each other out.
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
