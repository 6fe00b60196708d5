#pragma once

#include <atomic>
#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "async/Background.h"
#include "flows/EventStoreChanges.h"
#include "foundation/DataUpdates.h"
#include "foundation/FlagStore.h"
#include "model/EventQueueEntry.h"

namespace corvane {

/// The stored queue of one preferences file, shared by the event queues of every client of this process.
///
/// Each change is one transaction of the file, so that other processes may change the same queue at the same
/// time. Where the file cannot be written, the change waits in memory, is visible to this process, and goes
/// into the next transaction that succeeds.
///
/// An event without a JSON form (a value that is not finite, text that is not UTF-8), or with one above
/// `maxBytes`, is not stored: it could never be sent, and would push out another entry.
///
/// Usable from any thread. `mutex_` is held during each read and each change; no host code runs and no
/// request is made while it is held.
class EventStore : public std::enable_shared_from_this<EventStore> {
 public:
  static constexpr std::size_t maxItems = 100;
  static constexpr std::size_t maxBytes = std::size_t{4} << 20;
  /// How often, and how long after one another, the write to a file that another process holds is tried
  /// again.
  static constexpr int maxRetries = 40;
  static constexpr auto retryInterval = std::chrono::milliseconds(100);

  /// Entries that one flush is sending. Until it is released or destroyed, no other flush of this process is
  /// given them.
  class Claim {
   public:
    Claim(std::shared_ptr<EventStore> events, EventQueueEntries entries);
    ~Claim();
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    const EventQueueEntries& entries() const { return entries_; }

    /// Notes that an attempt for this entry failed.
    void noteFailure(const std::string& id) const;
    /// Gives the entries back. True when another flush left one of them out after it had failed: the holder
    /// of the claim must send it again.
    bool release() const;

   private:
    std::shared_ptr<EventStore> events_;
    EventQueueEntries entries_;
    mutable std::atomic<bool> released_ = false;
  };

  EventStore(std::shared_ptr<FlagStore> store, std::shared_ptr<DataUpdates> updates, std::string key);
  /// Writes the pending changes, if that is possible.
  ~EventStore();
  EventStore(const EventStore&) = delete;
  EventStore& operator=(const EventStore&) = delete;

  /// Every entry that no other flush is sending.
  std::shared_ptr<const Claim> claim();

  /// Adds the events behind all others and, beyond `maxItems`, pushes out the oldest. Calls `stored` once,
  /// on the background thread and never inside this call, when they are in the file. Events that come in the
  /// same turn of that thread share one transaction. Any thread; `background` outlives the call of `stored`.
  ///
  /// While another process holds the file, the write is tried again each 100 ms, which takes 25 ms at most.
  /// After 40 times, about 5 s, and at the end of the process, `stored` is called although the events only
  /// wait in memory; where the file cannot be written at all, it is called at once. Once `background` takes
  /// no more work, it is called inside this call.
  void store(StoredEvents events, Background& background, std::function<void()> stored);
  /// Removes the entry. The file follows soon. On the background thread.
  void remove(const std::string& id, Background& background);

  /// Adds events that are still to be sent, so that they survive the end of the process. Until `store` or
  /// `settle` is called for them, no flush of this process is given them. Returns whether they are in the
  /// file; if not, the write is tried again as for `store`. On the background thread.
  bool storeUnsent(StoredEvents events, Background& background);
  /// Removes the event if `storeUnsent` has added it. The file follows soon. On the background thread.
  void settle(const std::string& id, Background& background);
  void clear();

  /// Writes the pending changes, if that is possible.
  void writePending();

 private:
  /// Who is to be told when the entries in `pending_` are stored.
  struct Report {
    std::function<void()> stored;
    int retriesLeft = maxRetries;
  };

  // The caller holds `mutex_`.
  EventQueueEntries load() const;
  bool isBeingSent(const std::string& id);
  DataUpdates::Result save(DataUpdates::Wait wait);

  StoredEvents read(const std::optional<std::string>& bytes) const;
  static boost::asio::awaitable<void> writeAndReport(std::shared_ptr<EventStore> self,
                                                     Background& background);
  bool writeOnceAndReport(bool isLast);
  void reportAll();
  static void report(const std::vector<Report>& reports);
  void writeSoon(Background& background, std::function<void()> stored);

  const std::shared_ptr<FlagStore> store_;
  const std::shared_ptr<DataUpdates> updates_;
  const std::string key_;

  std::mutex mutex_;
  EventStoreChanges pending_{{.items = maxItems, .bytes = maxBytes}};
  /// While there are any, one `writeAndReport` runs.
  std::vector<Report> reports_;
  struct Attempt {
    bool failed = false;
    bool wantedAgain = false;
  };
  std::map<std::string, Attempt> beingSent_;
  /// The bytes written last and their entries, so that they need not be decoded again.
  std::optional<std::string> lastBytes_;
  StoredEvents lastEvents_;
};

}  // namespace corvane
