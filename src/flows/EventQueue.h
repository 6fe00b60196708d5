#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "api/CorvaneAPI.h"
#include "flows/EventStore.h"
#include "foundation/CorvaneLogger.h"

namespace corvane {

/// The persistent queue of events that were not delivered, as one client uses it. Held by its client and by
/// a running flush. Usable from any thread.
class EventQueue : public std::enable_shared_from_this<EventQueue> {
 public:
  using Entry = EventQueueEntry;

  EventQueue(std::shared_ptr<EventStore> events, CorvaneLogger logger);

  /// Resends the entries of this moment in the background, one after the other in their order, each with its
  /// own id; delivered ones are removed. Nothing is reported to the host.
  ///
  /// Does not wait for another flush, and leaves out the entries that another flush is sending, so that an
  /// entry that keeps failing costs one request at a time. The other flush, at its end, resends those that
  /// had failed already when they were left out: docs/adr/0008-an-entry-is-sent-by-one-flush.md.
  void flush(const CorvaneAPI& api);

  /// How the events of a client are sent that go into this queue when they fail.
  std::shared_ptr<const EventRoute> makeRoute(const CorvaneAPI& api) const;

  /// Adds events that failed; calls `stored` when they are stored. On the background thread.
  void enqueue(const std::vector<OutgoingEvent>& failed, Background& background,
               std::function<void()> stored);

  /// Adds the newest events of the line, which are still to be sent. Returns whether they are in the file. On
  /// the background thread.
  bool storeUnsent(const EventLine& line, Background& background);
  /// An event has left the line without a failure: removes it if `storeUnsent` has added it.
  void settle(const std::string& key, Background& background);

  /// Removes the events of the line of which nothing was sent yet. On the background thread.
  void dropUnsent(EventLine& line);

  /// Removes every entry.
  void clear();

 private:
  using Claim = EventStore::Claim;

  boost::asio::awaitable<void> resend(std::shared_ptr<const Claim> snapshot, CorvaneAPI api);
  static boost::asio::awaitable<bool> deliver(const Entry& entry, const CorvaneAPI& api,
                                              std::shared_ptr<const EventRoute> route);

  const std::shared_ptr<EventStore> events_;
  const CorvaneLogger logger_;
};

}  // namespace corvane
