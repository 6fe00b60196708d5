#pragma once

#include <optional>
#include <string>

#include "corvane/CorvaneExport.h"

/// The system's pasteboard (clipboard). The host implements it with its toolkit.
///
/// Threads: both operations are called on the library's background thread, one at a time. They should return
/// within milliseconds, because other background work waits for them. Errors: an exception counts as "no
/// text".
class CORVANE_API CorvanePasteboard {
 public:
  virtual ~CorvanePasteboard();

  /// Returns the text of the pasteboard in UTF-8; nullopt when it contains no text.
  virtual std::optional<std::string> string() = 0;

  /// Removes everything from the pasteboard.
  virtual void clear() = 0;
};
