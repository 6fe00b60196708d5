#include "corvane/Corvane.h"

#include <chrono>
#include <utility>

#include "facade/ClientBuilder.h"
#include "facade/CurrentPlatform.h"
#include "facade/SharedSlot.h"
#include "facade/StandardStores.h"
#include "foundation/StandardOutput.h"
#include "foundation/text/Unicode.h"

namespace {

/// Never destroyed: a host may ask for the client while static objects are destroyed.
corvane::SharedSlot<std::shared_ptr<Corvane>>& sharedClient() {
  static auto* const slot = new corvane::SharedSlot<std::shared_ptr<Corvane>>();
  return *slot;
}

}  // namespace

std::shared_ptr<Corvane> Corvane::configure(std::string_view apiKey, CorvaneOptions options) {
  std::string key(corvane::trimmed(apiKey));
  if (key.empty()) throw CorvaneError::missingAPIKey();

  const CorvanePlatform platform = corvane::currentPlatform().get();
  corvane::mainExecutor(platform)->adoptCurrentThread();

  const std::shared_ptr<Corvane> made(
      new Corvane(corvane::buildClient(std::move(key), std::move(options), platform)));
  sharedClient().set(made);
  const Client& client = *made->client_;
  client.logger.info([&] { return "Configured — base URL: " + client.api.baseURL; });
  client.eventQueue->flush(client.api);
  if (client.options.autoTrackInstall) made->trackInstall(false);
  return made;
}

std::shared_ptr<Corvane> Corvane::shared() {
  return sharedClient().get();
}

void Corvane::setShared(std::shared_ptr<Corvane> client) {
  sharedClient().set(std::move(client));
}

void Corvane::setPlatform(CorvanePlatform platform) {
  corvane::currentPlatform().set(std::move(platform));
}

void Corvane::resetForTesting() {
  corvane::removeEverything(corvane::standardStores(corvane::currentPlatform().get()));
  corvane::writeToStandardOutput(
      "[Corvane] Reset for testing — next launch will send a fresh install event\n");
}

Corvane::Corvane(std::unique_ptr<Client> client) : client_(std::move(client)) {}
Corvane::~Corvane() = default;

CorvaneOptions Corvane::options() const {
  return client_->options;
}

void Corvane::onAttribution(AttributionCallback callback) {
  client_->core->onAttribution(std::move(callback));
}

void Corvane::onLink(LinkCallback callback) {
  client_->core->onLink(std::move(callback));
}

void Corvane::onError(ErrorCallback callback) {
  client_->core->onError(std::move(callback));
}

std::optional<CorvaneAttribution> Corvane::lastAttribution() const {
  return client_->core->lastAttribution();
}

std::optional<CorvaneDeepLink> Corvane::lastDeepLink() const {
  return client_->core->lastDeepLink();
}

void Corvane::setConsent(bool isGranted) {
  client_->consent.store(isGranted);
  if (!isGranted) {
    client_->logger.info([] { return "Consent denied — dropping queued events"; });
    client_->eventQueue->clear();
    client_->eventTracking->dropUnsentEvents();
    return;
  }
  client_->logger.info([] { return "Consent granted"; });
  if (client_->options.autoTrackInstall) trackInstall(false);
  client_->eventQueue->flush(client_->api);
}

void Corvane::trackInstall(bool force) {
  client_->installTracking->trackInstall(force);
}

void Corvane::trackInstall(std::string_view clickToken, bool force) {
  client_->installTracking->trackInstall(std::string(clickToken), force);
}

CorvaneTask<CorvaneAttribution> Corvane::trackInstallAsync(bool force) {
  return client_->installTracking->trackInstallAsync(force);
}

CorvaneTask<CorvaneAttribution> Corvane::trackInstallAsync(std::string_view clickToken, bool force) {
  return client_->installTracking->trackInstallAsync(std::string(clickToken), force);
}

bool Corvane::handleDeepLink(std::string_view url) {
  return client_->deepLinkHandling->handleDeepLink(url);
}

CorvaneTask<CorvaneDeepLink> Corvane::handleDeepLinkAsync(std::string_view url) {
  return client_->deepLinkHandling->handleDeepLinkAsync(url);
}

void Corvane::trackEvent(std::string_view name, std::optional<double> value,
                         std::optional<std::string_view> currency) {
  client_->eventTracking->trackEvent({std::string(name), value, std::optional<std::string>(currency)});
}

CorvaneTask<CorvaneEventResult> Corvane::trackEventAsync(std::string_view name, std::optional<double> value,
                                                         std::optional<std::string_view> currency) {
  return client_->eventTracking->trackEventAsync(
      {std::string(name), value, std::optional<std::string>(currency)});
}

bool Corvane::storeUnsentEvents() {
  return client_->eventTracking->storeUnsentEvents(std::chrono::milliseconds(240));
}

void Corvane::requestTrackingAuthorization(std::function<void(bool isAuthorized)> completion) {
  client_->attManager.requestAuthorization(std::move(completion));
}

CorvaneTask<bool> Corvane::requestTrackingAuthorizationAsync() {
  return client_->attManager.requestAuthorizationAsync();
}

void Corvane::registerForSKAdAttribution() {
  client_->skanManager.register_();
}

void Corvane::updateConversionValue(std::int64_t value, std::optional<CorvaneCoarseConversionValue> coarse) {
  client_->skanManager.updateConversionValue(value, coarse);
}
