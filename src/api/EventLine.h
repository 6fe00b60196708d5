#pragma once

#include <boost/asio/awaitable.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <memory_resource>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "api/Attempt.h"
#include "api/HTTPClient.h"
#include "async/Background.h"
#include "corvane/CorvaneRetryPolicy.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/PageMemory.h"
#include "foundation/RunningClock.h"

namespace corvane {

/// How the events of one client are sent.
struct EventRoute {
  std::shared_ptr<HTTPClient> http;
  std::string url;
  /// All headers but the idempotency key.
  std::vector<URLRequest::Header> headers;
  CorvaneRetryPolicy retryPolicy;
  /// How long an event waits in line while no exchange gets a response.
  std::chrono::nanoseconds requestTimeout;
  CorvaneLogger logger;
  /// The stored queue that takes the events that fail. It tells the events of one application from others;
  /// not used otherwise.
  const void* queue = nullptr;
};

/// An event in the form in which it is sent and stored.
struct OutgoingEvent {
  /// The idempotency key.
  std::string key;
  /// The JSON of the event.
  std::string body;
};

/// The line of the events that wait to be sent, and their retries. Shared by all clients of the process.
///
/// An event that waits, for its turn or between two attempts, is a value of less than 1 KB; a coroutine and
/// an exchange begin when its turn comes. As many exchanges run at once as the transport takes. The order is
/// that of the first attempts: resent events come first, and an event that is retried goes before those that
/// came after it. An event between two attempts holds up no other.
///
/// While responses arrive, an event waits as long as it takes. When no exchange has got a response for the
/// route's `requestTimeout`, each event that has waited that long fails as `transport`; that counts as an
/// attempt. Time in which the process did not run does not count.
///
/// Used on the background thread. Nothing is called inside `add`.
class EventLine : public std::enable_shared_from_this<EventLine> {
 public:
  using ID = std::uint64_t;
  enum class Kind { first, resend };

  /// The event was removed before anything was sent.
  struct Dropped {};
  /// The final response, or the failure.
  using End = std::variant<HTTPResponse, CorvaneError, CorvaneCancellationError, Dropped>;
  using Done = std::function<void(OutgoingEvent event, End end)>;

  explicit EventLine(std::shared_ptr<Background> background);

  /// Appends an event. `done` is called once, on the background thread, and must not throw.
  ID add(std::shared_ptr<const EventRoute> route, OutgoingEvent event, Kind kind, Done done);

  /// A request that is not of this line got a response: the backend is there.
  void noteResponse() { lastResponse_ = clock_.now(); }

  /// Cancels an event as a task is cancelled: it is not sent again, and fails. Without effect once it ended.
  void cancel(ID id);

  /// Ends the events of which nothing was sent yet as `Dropped`. Resent events stay.
  void dropUnsent(const void* queue);

  /// The newest events that have not ended, oldest first, without resent ones.
  std::vector<OutgoingEvent> newest(const void* queue, std::size_t count) const;

  /// Fails every event, present and future: those in line as `transport` with this text, those between two
  /// attempts with their last outcome. Those in flight end with their exchanges.
  void close(std::string reason);

 private:
  using Time = RunningClock::TimePoint;

  struct Event {
    std::shared_ptr<const EventRoute> route;
    std::pmr::string key;
    std::pmr::string body;
    Done done;
    /// Also those that failed in line.
    std::int64_t attempts = 0;
    bool wasSent = false;
    bool isCancelled = false;
    /// When it joined the line; between two attempts, when it joins it again.
    Time since{};
    /// Cancels the attempt in flight.
    std::function<void()> abort{};
    /// The outcome of the latest attempt, between two attempts.
    std::unique_ptr<Attempt> latest{};
  };
  using Events = std::pmr::map<ID, Event>;
  using Node = Events::node_type;

  /// How many events fail before other background work gets its turn.
  static constexpr int portion = 200;
  /// With fewer events, freed memory is kept for the next ones.
  static constexpr std::size_t burst = 1000;
  static constexpr ID firstNewID = ID{1} << 63;

  void join(Node node);
  void run();
  void postRun();
  void startNext(Traffic traffic);
  boost::asio::awaitable<void> attempt(ID id, Traffic traffic);
  void finish(ID id, Attempt tried);
  void concludeAttempt(Node node, Attempt tried);
  void backOff(Node node, Attempt tried, std::chrono::nanoseconds delay);
  void endBackOffs(Time now);
  void failOverdue(Time now);
  void endAll();
  void freeMemory();
  static void end(Node node, End end);

  void wakeBy(Time due);
  void endWait();
  void scheduleWake(Time now);

  const std::shared_ptr<Background> background_;
  RunningClock clock_;
  /// The events and their texts. A burst leaves nothing behind: see `freeMemory`.
  PageMemory pages_;
  std::pmr::unsynchronized_pool_resource memory_{&pages_};
  std::size_t mostEvents_ = 0;
  Events waiting_{&memory_};
  Events inFlight_{&memory_};
  Events backingOff_{&memory_};
  std::set<std::pair<Time, ID>> due_;
  ID nextResend_ = 0;
  ID nextNew_ = firstNewID;
  Time lastResponse_{};
  /// When the events in line are looked at next.
  Time nextCheck_{};
  bool runIsPosted_ = false;
  std::string closedBecause_;

  /// One wait serves all events. A wait that was replaced does nothing at its end.
  std::uint64_t wait_ = 0;
  bool isWaiting_ = false;
  Time waitEnd_{};
  std::function<void()> cancelWait_;
};

}  // namespace corvane
