#include "flows/InstallTracking.h"

#include <atomic>
#include <utility>

#include "async/BackgroundTask.h"
#include "foundation/StoreKeys.h"
#include "model/CodecFailure.h"
#include "model/ResultJSON.h"

namespace corvane {

namespace asio = boost::asio;

void InstallTracking::trackInstall(bool force) {
  startDetached([](const ClickToken& token) { return token.automaticClickToken(); }, force);
}

void InstallTracking::trackInstall(std::string text, bool force) {
  startDetached([text = std::move(text)](const ClickToken& token) { return token.handedInClickToken(text); },
                force);
}

CorvaneTask<CorvaneAttribution> InstallTracking::trackInstallAsync(bool force) {
  return startAwaited([](const ClickToken& token) { return token.automaticClickToken(); }, force);
}

CorvaneTask<CorvaneAttribution> InstallTracking::trackInstallAsync(std::string text, bool force) {
  return startAwaited(
      [text = std::move(text)](const ClickToken& token) { return token.handedInClickToken(text); }, force);
}

void InstallTracking::startDetached(TokenSource source, bool force) {
  spawn(parts_.api.background, [weak = weak_from_this(), source = std::move(source), force] {
    return runDetached(weak, source, force);
  });
}

asio::awaitable<void> InstallTracking::runDetached(Weak weak, TokenSource source, bool force) {
  const Self self = weak.lock();
  if (!self) co_return;
  try {
    Token token = source(self->parts_.clickToken);
    co_await self->trackInstallCore(std::move(token), force);
  } catch (...) {
    const Failure failure = currentFailure();
    self->parts_.logger.error([&] { return "Install tracking failed: " + descriptionOf(failure); });
    self->parts_.core->deliverError(failure);
  }
}

CorvaneTask<CorvaneAttribution> InstallTracking::startAwaited(TokenSource source, bool force) {
  auto state = std::make_shared<ClientCore::InstallTask>(parts_.core->mainThread());
  Body<CorvaneAttribution> body = [weak = weak_from_this(), source = std::move(source),
                                   force]() -> asio::awaitable<CorvaneAttribution> {
    const Self self = weak.lock();
    if (!self) throw CorvaneCancellationError();
    Token token = source(self->parts_.clickToken);
    co_return co_await self->trackInstallCore(std::move(token), force);
  };
  start(parts_.api.background, state, std::move(body));
  return CorvaneTask<CorvaneAttribution>(state);
}

asio::awaitable<CorvaneAttribution> InstallTracking::trackInstallCore(Token token, bool force) {
  if (!force) {
    if (auto skipped = skipResult()) co_return *std::move(skipped);
  }
  auto run = startOrJoin(std::move(token));
  co_return co_await join(std::move(run));
}

/// The result of an unforced call where there is nothing to report; none where there is.
std::optional<CorvaneAttribution> InstallTracking::skipResult() const {
  if (parts_.flagStore->boolForKey(keys::installTracked)) {
    parts_.logger.info([] { return "Install already tracked — skipping network call"; });
  } else if (!parts_.consent.hasConsent() && parts_.flagStore->boolForKey(keys::deferredRouted)) {
    parts_.logger.info([] { return "Deferred link already routed — holding for consent before counting"; });
  } else {
    return std::nullopt;
  }
  return parts_.core->lastAttribution().value_or(CorvaneAttribution(std::nullopt, false, std::nullopt));
}

std::shared_ptr<ClientCore::InstallTask> InstallTracking::startOrJoin(Token token) {
  const auto candidate = std::make_shared<ClientCore::InstallTask>(parts_.core->mainThread());
  auto run = parts_.core->installTaskOr(candidate);
  if (run != candidate) return run;
  Body<CorvaneAttribution> body = [weak = weak_from_this(),
                                   token = std::move(token)]() -> asio::awaitable<CorvaneAttribution> {
    const Self self = weak.lock();
    if (!self) throw CorvaneCancellationError();
    co_return co_await self->runInstall(token);
  };
  start(parts_.api.background, run, std::move(body), [weak = std::weak_ptr(parts_.core)] {
    if (const auto core = weak.lock()) core->clearInstallTask();
  });
  return run;
}

asio::awaitable<CorvaneAttribution> InstallTracking::runInstall(Token token) {
  // Read once, so that the request and every decision below agree even if consent changes meanwhile.
  const bool consent = parts_.consent.hasConsent();
  const bool routed = parts_.flagStore->boolForKey(keys::deferredRouted);
  parts_.logger.info(
      [&] { return std::string("Sending install event… (consent: ") + (consent ? "true)" : "false)"); });

  InstallRequest request = makeRequest(token, consent);
  std::optional<std::string> idempotencyKey = "install:" + parts_.deviceId;
  EventResultDTO response = co_await parts_.api.sendInstall(std::move(request), std::move(idempotencyKey));

  std::optional<CorvaneDeepLink> link;
  if (response.deepLink) link = toDeepLink(*std::move(response.deepLink));
  const CorvaneAttribution attribution(response.id, consent && response.attributed, std::move(link));
  persistAttribution(attribution);
  const bool routeDeepLink = recordOutcome(attribution, token, consent, routed);

  co_await deliver(attribution, routeDeepLink);
  co_return attribution;
}

/// Delivers the attribution result to the host. A link that the main executor refuses is parked for the next
/// `onLink`: the store already says that it was routed.
asio::awaitable<void> InstallTracking::deliver(CorvaneAttribution attribution, bool routeDeepLink) const {
  const auto delivered = std::make_shared<std::atomic<bool>>(false);
  std::function<void()> run = [core = parts_.core, attribution, routeDeepLink, delivered] {
    *delivered = true;
    core->deliverAttribution(attribution, routeDeepLink);
  };
  co_await parts_.core->mainThread().call(*parts_.api.background, std::move(run));
  if (!*delivered && routeDeepLink) parts_.core->parkDeferredLink(*attribution.deepLink());
}

InstallRequest InstallTracking::makeRequest(const Token& token, bool consent) const {
  return {.identifier = parts_.deviceInfo.bundleId,
          .platform = parts_.deviceInfo.platform,
          .clickId = token,
          .deviceId = parts_.deviceId,
          .consent = consent};
}

void InstallTracking::persistAttribution(const CorvaneAttribution& attribution) {
  std::optional<std::string> data;
  try {
    data = encode(attribution);
  } catch (const EncodingFailure&) {
    // A result without a stored form lives in memory only.
  }
  parts_.core->setLastAttribution(attribution);
  parts_.flagStore->setData(data, keys::lastAttribution);
}

/// Counts the install where that is allowed, and returns whether the deferred link is to be routed: the first
/// time that there is one, with or without consent.
bool InstallTracking::recordOutcome(const CorvaneAttribution& attribution, const Token& token, bool consent,
                                    bool routed) {
  const auto& link = attribution.deepLink();
  const bool route = !routed && link && link->hasRoutableDestination();
  if (route) parts_.flagStore->setBool(true, keys::deferredRouted);
  if (consent) {
    count(attribution, token);
  } else if (route) {
    parts_.logger.info([] { return "Install not counted (no consent) — routing the deferred link only"; });
  } else {
    parts_.logger.info([] { return "Install not counted (no consent) — no deferred link to route"; });
  }
  return route;
}

void InstallTracking::count(const CorvaneAttribution& attribution, const Token& token) {
  parts_.flagStore->setBool(true, keys::installTracked);
  parts_.eventQueue->flush(parts_.api);
  parts_.logger.info([&]() -> std::string {
    if (!attribution.attributed()) return "Organic install (no attribution match)";
    return token ? "Install attributed (deterministic click token)" : "Install attributed";
  });
}

}  // namespace corvane
