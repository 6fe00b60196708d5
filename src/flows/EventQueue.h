#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "api/CorvaneAPI.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/FlagStore.h"
#include "model/Requests.h"

namespace corvane {

/// The persistent queue of events that were not delivered. Held by its client and by a running flush.
///
/// Usable from any thread. `lock` spans each read-modify-write of the stored bytes; no network call is made
/// and nothing of the host runs while it is held.
class EventQueue : public std::enable_shared_from_this<EventQueue> {
 public:
  struct Entry {
    /// The idempotency key that the event was first sent with, and is sent again with.
    std::string id;
    EventRequest request;

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  EventQueue(std::shared_ptr<FlagStore> store, std::string key, CorvaneLogger logger);

  /// Resends a snapshot of the entries in the background, one after the other in their order, each with its
  /// own id; delivered ones are removed. Nothing is reported to the host. Does not wait for another flush.
  void flush(const CorvaneAPI& api);

  /// Removes every entry.
  void clear();

 private:
  boost::asio::awaitable<void> resend(std::vector<Entry> snapshot, CorvaneAPI api);
  boost::asio::awaitable<bool> deliver(const Entry& entry, const CorvaneAPI& api) const;
  void remove(const std::string& id);

  // The caller holds `lock`.
  std::vector<Entry> load() const;
  void save(const std::vector<Entry>& entries) const;

  const std::shared_ptr<FlagStore> store;
  const std::string key;
  const CorvaneLogger logger;
  std::mutex lock;
};

}  // namespace corvane
