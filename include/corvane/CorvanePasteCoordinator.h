#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "corvane/CorvaneExport.h"
#include "corvane/CorvaneItemProvider.h"

/// What stands behind a paste control: takes what the user pastes and tracks the install with it. Part of no
/// toolkit; a host's control owns one and hands it the items when it is pressed.
///
/// It goes with `clickTokenSource` `pasteButton`, and works with `automatic` too; with `none` the install
/// ignores the text.
///
/// `paste` may be called from any thread. Destroy the coordinator on the main thread, where `onToken` runs:
/// then `onToken` is not called, nor anything that it owns touched, after the coordinator is gone.
class CORVANE_API CorvanePasteCoordinator {
 public:
  using TokenCallback = std::function<void(const std::string& text)>;

  /// `onToken`, which may be empty, gets each pasted text as it was loaded, whether or not it holds a token.
  explicit CorvanePasteCoordinator(TokenCallback onToken = {});
  ~CorvanePasteCoordinator();
  CorvanePasteCoordinator(const CorvanePasteCoordinator&) = delete;
  CorvanePasteCoordinator& operator=(const CorvanePasteCoordinator&) = delete;

  /// Loads the text of the first item that has one; the others are not loaded. Where there is none, or it
  /// cannot be loaded, nothing happens. Returns without waiting for it. Null items are skipped.
  ///
  /// With the text it calls `trackInstall(text, false)` of `Corvane::shared()`, where there is a client, and
  /// then queues `onToken` on the main thread: before the install has been answered, and whatever comes of
  /// it. The install is started also when the coordinator has gone meanwhile: the user did paste. A failure
  /// of the install is reported as always, by its error line and `onError`.
  void paste(const std::vector<std::shared_ptr<CorvaneItemProvider>>& itemProviders);

 private:
  std::shared_ptr<const TokenCallback> onToken_;
};
