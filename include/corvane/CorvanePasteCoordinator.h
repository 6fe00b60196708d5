#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/CorvaneExport.h"
#include "corvane/CorvaneItemProvider.h"

/// The logic of a paste control, without a toolkit: receives what the user pastes and tracks the install with
/// it. A host's control owns a coordinator and passes it the pasted items when the control is pressed.
///
/// Use it with `clickTokenSource` `pasteButton` or `automatic`. With `none` the install ignores the text.
///
/// Threads: `paste` may be called from any thread. Destroy the coordinator on the main thread, where
/// `onToken` runs: after that, `onToken` and the objects that it owns are not accessed.
class CORVANE_API CorvanePasteCoordinator {
 public:
  using TokenCallback = std::function<void(const std::string& text)>;

  /// `onToken` receives each pasted text as it was loaded, whether or not it contains a token. Default: an
  /// empty function, which is not called.
  explicit CorvanePasteCoordinator(TokenCallback onToken = {});
  ~CorvanePasteCoordinator();
  CorvanePasteCoordinator(const CorvanePasteCoordinator&) = delete;
  CorvanePasteCoordinator& operator=(const CorvanePasteCoordinator&) = delete;

  /// Loads the text of the first item that can be loaded as text; the other items are not loaded. When there
  /// is no such item, or loading fails, the call has no effect. Null items are skipped. Does not wait for the
  /// text.
  ///
  /// With the text it calls `trackInstall(text, false)` of `Corvane::shared()`, if there is a client, and
  /// then queues `onToken` on the main thread, without waiting for the result of the install. The install is
  /// tracked even when the coordinator is destroyed before the text is loaded. A failure of the install is
  /// reported by an error line and `onError`.
  void paste(const std::vector<std::shared_ptr<CorvaneItemProvider>>& itemProviders);

 private:
  std::shared_ptr<const TokenCallback> onToken_;
};
