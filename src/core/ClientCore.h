#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "async/Failure.h"
#include "async/MainThread.h"
#include "async/TaskState.h"
#include "corvane/CorvaneAttribution.h"
#include "corvane/CorvaneDeepLink.h"
#include "corvane/CorvaneLinkSource.h"

namespace corvane {

/// The mutable state of one client, and how results reach the host.
///
/// Usable from any thread. The lock guards every field below it and is held for copies and swaps only: never
/// while a callback runs, is copied or destroyed, nor across a store access, a wait or a network call. So a
/// callback may call anything of the client.
///
/// Callbacks run on the main thread. State is up to date before one is called, and what it throws leaves
/// through the executor. When the client is destroyed, its callbacks are destroyed on the main thread.
class ClientCore {
 public:
  using AttributionCallback = std::function<void(const CorvaneAttribution&)>;
  using LinkCallback = std::function<void(const CorvaneDeepLink&, CorvaneLinkSource)>;
  using ErrorCallback = std::function<void(const std::exception&)>;
  using InstallTask = TaskState<CorvaneAttribution>;

  /// `restored` is the attribution result of an earlier launch. It does not count as delivered.
  ClientCore(MainThread main, std::optional<CorvaneAttribution> restored);
  ~ClientCore();
  ClientCore(const ClientCore&) = delete;
  ClientCore& operator=(const ClientCore&) = delete;

  const MainThread& mainThread() const { return main_; }

  /// Registers the callback; an empty one removes it. A known attribution result is replayed, even if it was
  /// delivered before, and then counts as delivered.
  void onAttribution(AttributionCallback callback);
  /// Registers the callback; an empty one removes it. A parked link is handed over, once.
  void onLink(LinkCallback callback);
  void onError(ErrorCallback callback);

  /// On the main thread. Calls the callbacks unless the last delivered result was equal. With
  /// `routeDeepLink`, a link with a destination goes to the link callback after that, or is parked for it. An
  /// exception of the attribution callback is let out when the link has been dealt with.
  void deliverAttribution(const CorvaneAttribution& attribution, bool routeDeepLink);
  /// On the main thread. Without a link callback the link is dropped.
  void deliverReengagementLink(const CorvaneDeepLink& link);
  /// From any thread; the callback runs later. Without a callback nothing happens.
  void deliverError(Failure failure);
  /// Keeps the link for the next link callback, in place of one that was kept before.
  void parkDeferredLink(const CorvaneDeepLink& link);

  std::optional<CorvaneAttribution> lastAttribution() const;
  void setLastAttribution(CorvaneAttribution attribution);
  std::optional<CorvaneDeepLink> lastDeepLink() const;
  void setLastDeepLink(CorvaneDeepLink link);

  /// The install run in flight; where there is none, `candidate` becomes it.
  std::shared_ptr<InstallTask> installTaskOr(const std::shared_ptr<InstallTask>& candidate);
  void clearInstallTask();

 private:
  void routeDeferredLink(const CorvaneDeepLink& link, const std::shared_ptr<const LinkCallback>& registered);
  void postLink(std::shared_ptr<const LinkCallback> callback, CorvaneDeepLink link) const;

  const MainThread main_;
  mutable std::mutex mutex_;
  std::shared_ptr<const AttributionCallback> attributionCallback_;
  std::shared_ptr<const LinkCallback> linkCallback_;
  std::shared_ptr<const ErrorCallback> errorCallback_;
  std::optional<CorvaneAttribution> _lastAttribution;
  std::optional<CorvaneDeepLink> _lastDeepLink;
  std::optional<CorvaneAttribution> _lastDeliveredAttribution;
  std::shared_ptr<InstallTask> _installTask;
  std::optional<CorvaneDeepLink> _pendingDeferredLink;
  /// A result of this launch is known and not delivered yet.
  bool _deliveryPending = false;
  /// It was replayed meanwhile: its delivery calls no attribution callback, but still routes its link.
  bool _replayedBeforeDelivery = false;
};

}  // namespace corvane
