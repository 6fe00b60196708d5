#include "facade/ClientBuilder.h"

#include <optional>
#include <utility>

#include "facade/CurrentPlatform.h"
#include "facade/StandardStores.h"
#include "flows/ClickToken.h"
#include "foundation/APIBaseURL.h"
#include "foundation/StoreKeys.h"
#include "model/CodecFailure.h"
#include "model/ResultJSON.h"
#include "platform/ProcessRuntime.h"
#include "platform/SystemPasteboard.h"
#include "platform/URLSession.h"
#include "platform/URLSessionHTTPClient.h"
#include "platform/UserDefaultsStringStore.h"

namespace corvane {
namespace {

std::shared_ptr<HTTPClient> makeHTTPClient(double requestTimeout) {
  auto configuration = platform::URLSessionConfiguration::default_();
  configuration.timeoutIntervalForRequest = requestTimeout;
  configuration.timeoutIntervalForResource = requestTimeout;
  configuration.waitsForConnectivity = true;
  return std::make_shared<platform::URLSessionHTTPClient>(
      std::make_shared<platform::URLSession>(configuration), platform::processBackground()->executor());
}

/// The verdict of an earlier launch; one that cannot be read counts as none.
std::optional<CorvaneAttribution> storedAttribution(const FlagStore& store) {
  const auto data = store.dataForKey(keys::lastAttribution);
  if (!data) return std::nullopt;
  try {
    return decodeStoredAttribution(*data);
  } catch (const DecodingFailure&) {
    return std::nullopt;
  }
}

}  // namespace

std::unique_ptr<Corvane::Client> buildClient(std::string apiKey, CorvaneOptions options,
                                             const CorvanePlatform& machine) {
  const CorvaneLogger logger{options.logEnabled, options.logLevel};
  const auto [defaults, flags, queueStorage] = standardStores(machine);
  defaults->reportProblemsTo([logger](const std::string& text) { logger.warning([&] { return text; }); });

  const CorvaneAPI api{.baseURL = defaultAPIBaseURL(),
                       .http = makeHTTPClient(options.requestTimeout),
                       .background = platform::processBackground(),
                       .logger = logger,
                       .apiKey = std::move(apiKey),
                       .retryPolicy = options.retryPolicy};
  const DeviceIdentity identity{
      std::make_shared<platform::UserDefaultsStringStore>(defaults, std::string(keys::prefix)),
      std::string(keys::deviceId)};
  const DeviceInfo info{.bundleId = machine.applicationIdentifier};
  const auto queue = std::make_shared<EventQueue>(queueStorage, logger);
  const std::string deviceId = identity.deviceIdOrCreate();
  const auto pasteboard = std::make_shared<platform::SystemPasteboard>(machine.pasteboard);
  const auto executor = mainExecutor(machine);
  const auto core = std::make_shared<ClientCore>(MainThread(executor), storedAttribution(*flags));
  const auto attManager = std::make_shared<platform::ATTManager>(
      logger, platform::ATTrackingManager(machine.trackingAuthorization), core->mainThread());
  const platform::SKANManager skanManager{logger, platform::SKAdNetwork(machine.adNetwork),
                                          machine.operatingSystemVersion};
  const Consent consent{flags, options.requireConsent};
  const ClientParts parts{core, api, logger, info, deviceId, consent};
  const ClickToken clickToken{options.clickTokenSource, flags, pasteboard, logger};
  const auto installTracking =
      std::make_shared<InstallTracking>(InstallTracking::Collaborators{parts, flags, clickToken, queue});
  const auto deepLinkHandling =
      std::make_shared<DeepLinkHandling>(DeepLinkHandling::Collaborators{parts, options.linkDomains});
  const auto eventTracking = std::make_shared<EventTracking>(EventTracking::Collaborators{parts, queue});
  return std::make_unique<Corvane::Client>(Corvane::Client{
      std::move(options), logger, api, identity, info, deviceId, attManager, skanManager, flags, queue,
      pasteboard, executor, core, consent, installTracking, deepLinkHandling, eventTracking});
}

}  // namespace corvane
