#include "corvane/CorvanePasteCoordinator.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "corvane/Corvane.h"
#include "facade/Client.h"
#include "facade/CurrentPlatform.h"
#include "foundation/AnsweredOnce.h"

CorvaneItemProvider::~CorvaneItemProvider() = default;

namespace {

using TokenCallback = CorvanePasteCoordinator::TokenCallback;

bool canLoadText(const std::shared_ptr<CorvaneItemProvider>& item) {
  try {
    return item && item->canLoadText();
  } catch (...) {
    return false;
  }
}

}  // namespace

CorvanePasteCoordinator::CorvanePasteCoordinator(TokenCallback onToken)
    : onToken_(std::make_shared<const TokenCallback>(std::move(onToken))) {}

CorvanePasteCoordinator::~CorvanePasteCoordinator() = default;

void CorvanePasteCoordinator::paste(const std::vector<std::shared_ptr<CorvaneItemProvider>>& itemProviders) {
  const auto first = std::find_if(itemProviders.begin(), itemProviders.end(), canLoadText);
  if (first == itemProviders.end()) return;
  // The item may load its text after this object is gone. The install is tracked all the same, because the
  // user has pasted; the callback is not called any more.
  const std::weak_ptr<const TokenCallback> onToken = onToken_;
  const auto loaded = corvane::answeredOnce<std::optional<std::string>>([onToken](const auto& text) {
    if (!text) return;
    const auto client = Corvane::shared();
    if (client) client->trackInstall(*text, false);
    // Without a client the callback runs on the main thread that the next client would have.
    const auto main = client ? client->client_->core->mainThread()
                             : corvane::MainThread(corvane::mainExecutor(corvane::currentPlatform().get()));
    main.post([onToken, text = *text] {
      if (const auto callback = onToken.lock(); callback && *callback) (*callback)(text);
    });
  });
  try {
    (*first)->loadText(loaded);
  } catch (...) {
    // An item that cannot be loaded.
  }
}
