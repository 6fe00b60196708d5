#pragma once

#include <functional>
#include <optional>
#include <string>

#include "corvane/CorvaneExport.h"

/// One item that the user pastes. The host implements it with its toolkit; `CorvanePasteCoordinator` loads
/// its text.
class CORVANE_API CorvaneItemProvider {
 public:
  /// Receives the whole text in UTF-8, or nullopt when loading failed or the item is not text. May be called
  /// on any thread, also inside `loadText`. Later calls have no effect. It may outlive the coordinator.
  using Completion = std::function<void(std::optional<std::string> text)>;

  virtual ~CorvaneItemProvider();

  /// Returns whether the item can be loaded as text, without loading it. Called on the thread that called
  /// `paste`. An exception counts as false.
  virtual bool canLoadText() = 0;

  /// Loads the text and calls `completion` with it, before or after it returns. Called on the thread that
  /// called `paste`, at most once per paste. An exception counts as a failure to load.
  virtual void loadText(Completion completion) = 0;
};
