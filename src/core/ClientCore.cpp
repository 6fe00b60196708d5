#include "core/ClientCore.h"

#include <exception>
#include <utility>

namespace corvane {
namespace {

template <class Function>
std::shared_ptr<const Function> shared(Function function) {
  return function ? std::make_shared<const Function>(std::move(function)) : nullptr;
}

/// Runs all in order; the first exception leaves when the last has run, and any other from the main thread's
/// next turn, so that none is lost.
template <class First, class Second>
void runBoth(const MainThread& main, const First& first, const Second& second) {
  std::exception_ptr thrown;
  try {
    first();
  } catch (...) {
    thrown = std::current_exception();
  }
  if (!thrown) return second();
  try {
    second();
  } catch (...) {
    main.post([later = std::current_exception()] { std::rethrow_exception(later); });
  }
  std::rethrow_exception(thrown);
}

}  // namespace

ClientCore::ClientCore(MainThread main, std::optional<CorvaneAttribution> restored)
    : main_(std::move(main)), _lastAttribution(std::move(restored)) {}

ClientCore::~ClientCore() {
  if (attributionCallback_ || linkCallback_ || errorCallback_)
    main_.post([a = std::move(attributionCallback_), l = std::move(linkCallback_),
                e = std::move(errorCallback_)] {});
}

void ClientCore::onAttribution(AttributionCallback callback) {
  auto replacement = shared(std::move(callback));
  const auto registered = replacement;
  std::optional<CorvaneAttribution> known;
  {
    const std::lock_guard lock(mutex_);
    attributionCallback_.swap(replacement);
    if (registered) known = _lastAttribution;
    if (known) _lastDeliveredAttribution = known;
    if (known && _deliveryPending) _replayedBeforeDelivery = true;
  }
  if (known) main_.post([registered, known] { (*registered)(*known); });
}

void ClientCore::onLink(LinkCallback callback) {
  auto replacement = shared(std::move(callback));
  const auto registered = replacement;
  std::optional<CorvaneDeepLink> parked;
  {
    const std::lock_guard lock(mutex_);
    linkCallback_.swap(replacement);
    if (registered) parked.swap(_pendingDeferredLink);
  }
  if (parked) postLink(registered, *std::move(parked));
}

void ClientCore::onError(ErrorCallback callback) {
  auto replacement = shared(std::move(callback));
  const std::lock_guard lock(mutex_);
  errorCallback_.swap(replacement);
}

void ClientCore::deliverAttribution(const CorvaneAttribution& attribution, bool routeDeepLink) {
  std::shared_ptr<const AttributionCallback> hostAttribution;
  std::shared_ptr<const LinkCallback> hostLink;
  {
    const std::lock_guard lock(mutex_);
    const bool changed = _lastDeliveredAttribution != attribution;
    _lastDeliveredAttribution = attribution;
    _deliveryPending = false;
    const bool replayed = std::exchange(_replayedBeforeDelivery, false);
    if (!changed && !replayed) return;
    // A replayed result is in the executor's queue by now: its link is queued behind it.
    if (changed) {
      hostAttribution = attributionCallback_;
      hostLink = linkCallback_;
    }
  }
  const auto callHost = [&] {
    if (hostAttribution) (*hostAttribution)(attribution);
  };
  const auto route = [&] {
    const auto& link = attribution.deepLink();
    if (routeDeepLink && link && link->hasRoutableDestination()) routeDeferredLink(*link, hostLink);
  };
  runBoth(main_, callHost, route);
}

/// `registered` is the link callback at the time of the delivery. Where there was none, the attribution
/// callback or another thread may have registered one since. That one found no parked link, so the link is
/// posted to it.
void ClientCore::routeDeferredLink(const CorvaneDeepLink& link,
                                   const std::shared_ptr<const LinkCallback>& registered) {
  if (registered) return (*registered)(link, CorvaneLinkSource::deferred);
  std::shared_ptr<const LinkCallback> meanwhile;
  {
    const std::lock_guard lock(mutex_);
    meanwhile = linkCallback_;
    if (!meanwhile) _pendingDeferredLink = link;
  }
  if (meanwhile) postLink(std::move(meanwhile), link);
}

void ClientCore::postLink(std::shared_ptr<const LinkCallback> callback, CorvaneDeepLink link) const {
  main_.post([callback = std::move(callback), link = std::move(link)] {
    (*callback)(link, CorvaneLinkSource::deferred);
  });
}

void ClientCore::parkDeferredLink(const CorvaneDeepLink& link) {
  std::optional replacement(link);
  const std::lock_guard lock(mutex_);
  _pendingDeferredLink.swap(replacement);
}

void ClientCore::deliverReengagementLink(const CorvaneDeepLink& link) {
  std::shared_ptr<const LinkCallback> callback;
  {
    const std::lock_guard lock(mutex_);
    callback = linkCallback_;
  }
  if (callback) (*callback)(link, CorvaneLinkSource::reengagement);
}

void ClientCore::deliverError(Failure failure) {
  std::shared_ptr<const ErrorCallback> callback;
  {
    const std::lock_guard lock(mutex_);
    callback = errorCallback_;
  }
  if (callback) main_.post([callback, failure = std::move(failure)] { (*callback)(asException(failure)); });
}

std::optional<CorvaneAttribution> ClientCore::lastAttribution() const {
  const std::lock_guard lock(mutex_);
  return _lastAttribution;
}

void ClientCore::setLastAttribution(CorvaneAttribution attribution) {
  std::optional replacement(std::move(attribution));
  const std::lock_guard lock(mutex_);
  _lastAttribution.swap(replacement);
  _deliveryPending = true;
}

std::optional<CorvaneDeepLink> ClientCore::lastDeepLink() const {
  const std::lock_guard lock(mutex_);
  return _lastDeepLink;
}

void ClientCore::setLastDeepLink(CorvaneDeepLink link) {
  std::optional replacement(std::move(link));
  const std::lock_guard lock(mutex_);
  _lastDeepLink.swap(replacement);
}

std::shared_ptr<ClientCore::InstallTask> ClientCore::installTaskOr(
    const std::shared_ptr<InstallTask>& candidate) {
  const std::lock_guard lock(mutex_);
  if (!_installTask) _installTask = candidate;
  return _installTask;
}

void ClientCore::clearInstallTask() {
  std::shared_ptr<InstallTask> ended;
  const std::lock_guard lock(mutex_);
  ended.swap(_installTask);
}

}  // namespace corvane
