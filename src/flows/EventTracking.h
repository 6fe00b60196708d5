#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "async/BackgroundQueue.h"
#include "async/BackgroundTask.h"
#include "async/Failure.h"
#include "corvane/CorvaneEventResult.h"
#include "flows/ClientParts.h"
#include "flows/EventQueue.h"

namespace corvane {

/// Sends the host's events. An event that fails, for any reason, goes into the queue with the idempotency key
/// that it was sent with, and is reported when it is stored; every success starts a flush of the queue.
/// Without consent an event is dropped.
///
/// The public forms are called from any thread and return at once; everything else runs on the background
/// thread. An event's first step reads the consent and fixes the request and its key. Before it, an event
/// holds this object, and with it the client, weakly unless it is awaited; from then on strongly.
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

  explicit EventTracking(Collaborators collaborators);

  void trackEvent(Event event);
  CorvaneTask<CorvaneEventResult> trackEventAsync(Event event);

  /// Stores every event that has not ended. Waits for that, but at most `timeout`, and returns whether they
  /// are in the file. From any thread; on the background thread without a wait.
  bool storeUnsentEvents(std::chrono::milliseconds timeout);

  /// Removes the events of which nothing was sent yet, after a denial. Those that are tracked later stay.
  /// From any thread.
  void dropUnsentEvents();

 private:
  /// The task of an awaited event. Used on the background thread; what waits there owns it.
  struct Awaited {
    explicit Awaited(std::shared_ptr<TaskState<CorvaneEventResult>> state) : completion(std::move(state)) {}

    Completion<CorvaneEventResult> completion;
    std::optional<EventLine::ID> id{};
    bool isCancelled = false;
  };
  using Task = std::shared_ptr<Awaited>;

  struct Failed {
    OutgoingEvent event;
    Failure failure;
    Task task;
  };

  /// How many failures are reported before other background work gets its turn.
  static constexpr std::size_t portion = 64;

  void begin(Event event, const Task& task);
  void cancel(Awaited& awaited);
  void finish(const std::string& name, const Task& task, OutgoingEvent event, EventEnd end);
  void drop(const std::string& name, const Task& task) const;
  void fail(const std::string& name, Failed failed);
  void storeFailed();
  void report();
  bool storeUnsentNow();
  EventRequest makeRequest(Event event) const;

  const Collaborators parts_;
  const std::shared_ptr<const EventRoute> route_;
  const std::shared_ptr<BackgroundQueue> tracked_;
  /// Waits to be stored with the others of this turn. Used on the background thread.
  std::vector<Failed> failed_;
  /// Is stored and waits to be reported; not empty while that goes on.
  std::deque<Failed> stored_;
};

}  // namespace corvane
