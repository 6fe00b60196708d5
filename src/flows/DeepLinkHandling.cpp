#include "flows/DeepLinkHandling.h"

#include <utility>

#include "core/Operation.h"
#include "foundation/URL.h"
#include "foundation/UUID.h"

namespace corvane {

namespace asio = boost::asio;

namespace {

CorvaneDeepLink urlOnlyLink(const ParsedLink& parsed) {
  return CorvaneDeepLink(parsed.slug, parsed.url, parsed.path, {}, {}, {}, {}, {}, {}, {});
}

}  // namespace

bool DeepLinkHandling::handleDeepLink(std::string_view url) {
  auto parsed = parseLinkURL(url, c.linkDomains);
  if (!parsed) {
    c.logger.debug([&] {
      const auto read = readOutsideURL(url);
      return "Not a Corvane link — ignoring: " + (read ? read->text : std::string(url));
    });
    return false;
  }
  spawn(c.api.background, [weak = weak_from_this(), link = *std::move(parsed)]() mutable {
    return reportFailure(weak, std::move(link));
  });
  return true;
}

CorvaneTask<CorvaneDeepLink> DeepLinkHandling::handleDeepLinkAsync(std::string_view url) {
  auto state = std::make_shared<TaskState<CorvaneDeepLink>>(c.core->mainThread());
  if (auto parsed = parseLinkURL(url, c.linkDomains)) {
    Body<CorvaneDeepLink> body = [self = shared_from_this(),
                                  link = *std::move(parsed)]() -> asio::awaitable<CorvaneDeepLink> {
      co_return co_await self->handle(link);
    };
    start(c.api.background, state, std::move(body));
  } else {
    state->complete(CorvaneError::notACorvaneURL());
  }
  return CorvaneTask<CorvaneDeepLink>(state);
}

asio::awaitable<void> DeepLinkHandling::reportFailure(Weak weak, ParsedLink parsed) {
  const auto self = weak.lock();
  if (!self) co_return;
  try {
    co_await self->handle(std::move(parsed));
  } catch (...) {
    const Failure failure = currentFailure();
    self->c.logger.error([&] { return "Deep link handling failed: " + descriptionOf(failure); });
    self->c.core->deliverError(failure);
  }
}

asio::awaitable<CorvaneDeepLink> DeepLinkHandling::handle(ParsedLink parsed) {
  c.logger.debug([&] { return "Handling deep link: " + parsed.url; });
  const bool recorded = c.consent.hasConsent();
  asio::awaitable<CorvaneDeepLink> answer = recorded ? record(parsed) : resolve(parsed);
  const CorvaneDeepLink link = co_await std::move(answer);
  c.core->setLastDeepLink(link);
  c.logger.debug([&] { return "Deep link resolved → path: " + link.path(); });
  std::function<void()> deliver = [core = c.core, link] { core->deliverReengagementLink(link); };
  co_await c.core->mainThread().call(*c.api.background, std::move(deliver));
  co_return link;
}

/// Without consent: nothing is recorded, and a failure is nobody's business.
asio::awaitable<CorvaneDeepLink> DeepLinkHandling::resolve(const ParsedLink& parsed) const {
  std::optional<std::string> url;
  std::optional<std::string> host = parsed.host;
  std::optional<std::string> slug = parsed.slug;
  try {
    DeepLinkDTO answer = co_await c.api.resolveLink(std::move(url), std::move(host), std::move(slug));
    c.logger.debug([] { return "Re-engagement resolved route-only — consent not granted (not recorded)"; });
    co_return toDeepLink(std::move(answer));
  } catch (...) {
    const Failure failure = currentFailure();
    c.logger.debug([&] {
      return "Re-engagement resolve failed (no consent) — routing by URL only: " + descriptionOf(failure);
    });
  }
  co_return urlOnlyLink(parsed);
}

asio::awaitable<CorvaneDeepLink> DeepLinkHandling::record(const ParsedLink& parsed) const {
  OpenRequest request = makeRequest(parsed);
  std::optional<std::string> idempotencyKey = randomUUIDText();
  try {
    EventResultDTO answer = co_await c.api.sendOpen(std::move(request), std::move(idempotencyKey));
    if (answer.deepLink) co_return toDeepLink(*std::move(answer.deepLink));
  } catch (...) {
    const Failure failure = currentFailure();
    c.logger.warning([&] {
      return "Deep-link open failed — delivering a URL-only link (campaign/customData will be empty): " +
             descriptionOf(failure);
    });
    c.core->deliverError(failure);
  }
  co_return urlOnlyLink(parsed);
}

OpenRequest DeepLinkHandling::makeRequest(const ParsedLink& parsed) const {
  return {.identifier = c.deviceInfo.bundleId,
          .platform = c.deviceInfo.platform,
          .clickId = std::nullopt,
          .deviceId = c.deviceId,
          .host = parsed.host,
          .slug = parsed.slug};
}

}  // namespace corvane
