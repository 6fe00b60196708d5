#include "flows/DeepLinkHandling.h"

#include <utility>

#include "async/BackgroundTask.h"
#include "foundation/text/URL.h"
#include "foundation/text/UUID.h"

namespace corvane {

namespace asio = boost::asio;

namespace {

CorvaneDeepLink urlOnlyLink(const ParsedLink& parsed) {
  return CorvaneDeepLink(parsed.slug, parsed.url, parsed.path, {}, {}, {}, {}, {}, {}, {});
}

}  // namespace

bool DeepLinkHandling::handleDeepLink(std::string_view url) {
  auto parsed = parseLinkURL(url, parts_.linkDomains);
  if (!parsed) {
    parts_.logger.debug([&] {
      const auto read = readOutsideURL(url);
      return "Not a Corvane link — ignoring: " + (read ? read->text : std::string(url));
    });
    return false;
  }
  spawn(parts_.api.background, [weak = weak_from_this(), link = *std::move(parsed)]() mutable {
    return runDetached(weak, std::move(link));
  });
  return true;
}

CorvaneTask<CorvaneDeepLink> DeepLinkHandling::handleDeepLinkAsync(std::string_view url) {
  auto state = std::make_shared<TaskState<CorvaneDeepLink>>(parts_.core->mainThread());
  if (auto parsed = parseLinkURL(url, parts_.linkDomains)) {
    Body<CorvaneDeepLink> body = [self = shared_from_this(),
                                  link = *std::move(parsed)]() -> asio::awaitable<CorvaneDeepLink> {
      co_return co_await self->handle(link);
    };
    start(parts_.api.background, state, std::move(body));
  } else {
    state->complete(CorvaneError::notACorvaneURL());
  }
  return CorvaneTask<CorvaneDeepLink>(state);
}

asio::awaitable<void> DeepLinkHandling::runDetached(Weak weak, ParsedLink parsed) {
  const auto self = weak.lock();
  if (!self) co_return;
  try {
    co_await self->handle(std::move(parsed));
  } catch (...) {
    const Failure failure = currentFailure();
    self->parts_.logger.error([&] { return "Deep link handling failed: " + descriptionOf(failure); });
    self->parts_.core->deliverError(failure);
  }
}

asio::awaitable<CorvaneDeepLink> DeepLinkHandling::handle(ParsedLink parsed) {
  parts_.logger.debug([&] { return "Handling deep link: " + parsed.url; });
  const bool recorded = parts_.consent.hasConsent();
  asio::awaitable<CorvaneDeepLink> resolved = recorded ? record(parsed) : resolve(parsed);
  const CorvaneDeepLink link = co_await std::move(resolved);
  parts_.core->setLastDeepLink(link);
  parts_.logger.debug([&] { return "Deep link resolved → path: " + link.path(); });
  std::function<void()> deliver = [core = parts_.core, link] { core->deliverReengagementLink(link); };
  co_await parts_.core->mainThread().call(*parts_.api.background, std::move(deliver));
  co_return link;
}

/// Without consent nothing is recorded, and a failure is not reported to the host.
asio::awaitable<CorvaneDeepLink> DeepLinkHandling::resolve(const ParsedLink& parsed) const {
  std::optional<std::string> url;
  std::optional<std::string> host = parsed.host;
  std::optional<std::string> slug = parsed.slug;
  try {
    DeepLinkDTO response = co_await parts_.api.resolveLink(std::move(url), std::move(host), std::move(slug));
    parts_.logger.debug(
        [] { return "Re-engagement resolved route-only — consent not granted (not recorded)"; });
    co_return toDeepLink(std::move(response));
  } catch (...) {
    const Failure failure = currentFailure();
    parts_.logger.debug([&] {
      return "Re-engagement resolve failed (no consent) — routing by URL only: " + descriptionOf(failure);
    });
  }
  co_return urlOnlyLink(parsed);
}

asio::awaitable<CorvaneDeepLink> DeepLinkHandling::record(const ParsedLink& parsed) const {
  OpenRequest request = makeRequest(parsed);
  std::optional<std::string> idempotencyKey = randomUUIDText();
  try {
    EventResultDTO response = co_await parts_.api.sendOpen(std::move(request), std::move(idempotencyKey));
    if (response.deepLink) co_return toDeepLink(*std::move(response.deepLink));
  } catch (...) {
    const Failure failure = currentFailure();
    parts_.logger.warning([&] {
      return "Deep-link open failed — delivering a URL-only link (campaign/customData will be empty): " +
             descriptionOf(failure);
    });
    parts_.core->deliverError(failure);
  }
  co_return urlOnlyLink(parsed);
}

OpenRequest DeepLinkHandling::makeRequest(const ParsedLink& parsed) const {
  return {.identifier = parts_.deviceInfo.bundleId,
          .platform = parts_.deviceInfo.platform,
          .clickId = std::nullopt,
          .deviceId = parts_.deviceId,
          .host = parsed.host,
          .slug = parsed.slug};
}

}  // namespace corvane
