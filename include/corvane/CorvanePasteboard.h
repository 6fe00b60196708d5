#pragma once

#include <optional>
#include <string>

#include "corvane/CorvaneExport.h"

/// The system's pasteboard (clipboard), as the host's toolkit gives it.
///
/// Both operations are called on the library's background thread, one at a time; they should answer within
/// milliseconds, for other background work waits meanwhile. What they throw counts as "no text".
class CORVANE_API CorvanePasteboard {
 public:
  virtual ~CorvanePasteboard();

  /// The pasteboard's text in UTF-8, or none when it holds no text.
  virtual std::optional<std::string> string() = 0;

  /// Empties the pasteboard of everything it holds.
  virtual void clear() = 0;
};
