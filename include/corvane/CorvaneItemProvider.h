#pragma once

#include <functional>
#include <optional>
#include <string>

#include "corvane/CorvaneExport.h"

/// One item that the user pastes, as the host's toolkit gives it: `CorvanePasteCoordinator` asks it for text.
class CORVANE_API CorvaneItemProvider {
 public:
  /// Called once, on any thread, also within `loadText`: with the whole text in UTF-8, or with none where
  /// loading failed or brought something else. Later calls have no effect. It may outlive the coordinator.
  using Completion = std::function<void(std::optional<std::string> text)>;

  virtual ~CorvaneItemProvider();

  /// Whether the item can be loaded as text. Called on the thread of the paste; must not load it. One that
  /// throws cannot.
  virtual bool canLoadText() = 0;

  /// Loads the text and calls `completion` with it; returns at once or when that is done. Called on the
  /// thread of the paste, at most once a paste. What it throws counts as a failure to load.
  virtual void loadText(Completion completion) = 0;
};
