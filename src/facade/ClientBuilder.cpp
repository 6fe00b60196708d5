#include "facade/ClientBuilder.h"

#include <optional>
#include <utility>

#include "api/transport/URLSessionHTTPClient.h"
#include "facade/CurrentPlatform.h"
#include "facade/ProcessRuntime.h"
#include "facade/StandardStores.h"
#include "flows/ClickToken.h"
#include "foundation/APIBaseURL.h"
#include "foundation/DeviceIdentity.h"
#include "foundation/StoreKeys.h"
#include "model/CodecFailure.h"
#include "model/ResultJSON.h"
#include "platform/services/SystemPasteboard.h"

namespace corvane {
namespace {

std::shared_ptr<HTTPClient> makeHTTPClient(double requestTimeout, const CorvanePlatform& platform) {
  platform::URLSession session{.configuration = platform::URLSessionConfiguration::default_()};
  session.configuration.timeoutIntervalForRequest = requestTimeout;
  session.configuration.timeoutIntervalForResource = requestTimeout;
  session.configuration.waitsForConnectivity = true;
  session.configuration.proxy = platform.proxy;
  session.configuration.certificateAuthorityFile = platform.certificateAuthorityFile.string();
  return std::make_shared<platform::URLSessionHTTPClient>(std::move(session),
                                                          processBackground()->executor());
}

CorvaneAPI makeAPI(std::string apiKey, const CorvaneOptions& options, const CorvanePlatform& platform,
                   CorvaneLogger logger) {
  return {.baseURL = defaultAPIBaseURL(),
          .http = makeHTTPClient(options.requestTimeout, platform),
          .lines = processLines(),
          .background = processBackground(),
          .logger = logger,
          .apiKey = std::move(apiKey),
          .retryPolicy = options.retryPolicy,
          .requestTimeout = options.requestTimeout};
}

/// The attribution result of an earlier launch; none where it cannot be read.
std::optional<CorvaneAttribution> storedAttribution(const FlagStore& store) {
  const auto data = store.dataForKey(keys::lastAttribution);
  if (!data) return std::nullopt;
  try {
    return decodeStoredAttribution(*data);
  } catch (const DecodingFailure&) {
    return std::nullopt;
  }
}

/// What the flows share. The device id is read, or created and stored.
ClientParts makeParts(std::string apiKey, const CorvaneOptions& options, const CorvanePlatform& platform,
                      const StandardStores& stores, CorvaneLogger logger) {
  const DeviceIdentity identity{.store = stores.strings, .key = std::string(keys::deviceId)};
  return {.core = std::make_shared<ClientCore>(MainThread(mainExecutor(platform)),
                                               storedAttribution(*stores.flags)),
          .api = makeAPI(std::move(apiKey), options, platform, logger),
          .logger = logger,
          .deviceInfo = {.bundleId = platform.applicationIdentifier},
          .deviceId = identity.deviceIdOrCreate(),
          .consent = {.flagStore = stores.flags, .required = options.requireConsent}};
}

std::shared_ptr<InstallTracking> makeInstallTracking(const ClientParts& parts, const CorvaneOptions& options,
                                                     const CorvanePlatform& platform,
                                                     const StandardStores& stores,
                                                     const std::shared_ptr<EventQueue>& queue) {
  const ClickToken clickToken{.source = options.clickTokenSource,
                              .flagStore = stores.flags,
                              .pasteboard = std::make_shared<platform::SystemPasteboard>(platform.pasteboard),
                              .logger = parts.logger};
  return std::make_shared<InstallTracking>(
      InstallTracking::Collaborators{parts, stores.flags, clickToken, queue});
}

}  // namespace

std::unique_ptr<Corvane::Client> buildClient(std::string apiKey, CorvaneOptions options,
                                             const CorvanePlatform& platform) {
  const StandardStores stores = standardStores(platform);
  const CorvaneLogger logger{.enabled = options.logEnabled, .minimumLevel = options.logLevel};
  stores.maintenance->reportProblemsTo(
      [logger](const std::string& text) { logger.warning([&] { return text; }); });
  const ClientParts parts = makeParts(std::move(apiKey), options, platform, stores, logger);
  const auto queue = std::make_shared<EventQueue>(stores.events, logger);
  auto installTracking = makeInstallTracking(parts, options, platform, stores, queue);
  auto deepLinkHandling =
      std::make_shared<DeepLinkHandling>(DeepLinkHandling::Collaborators{parts, options.linkDomains});
  return std::make_unique<Corvane::Client>(Corvane::Client{
      .options = std::move(options),
      .logger = logger,
      .api = parts.api,
      .mainExecutor = mainExecutor(platform),
      .core = parts.core,
      .consent = parts.consent,
      .eventQueue = queue,
      .attManager = {logger, platform.trackingAuthorization, parts.core->mainThread()},
      .skanManager = {.logger = logger,
                      .provider = platform.adNetwork,
                      .systemVersion = platform.operatingSystemVersion},
      .installTracking = std::move(installTracking),
      .deepLinkHandling = std::move(deepLinkHandling),
      .eventTracking = std::make_shared<EventTracking>(EventTracking::Collaborators{parts, queue})});
}

}  // namespace corvane
