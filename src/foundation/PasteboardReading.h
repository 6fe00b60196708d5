#pragma once

#include <optional>
#include <string>

namespace corvane {

/// The pasteboard, as the click token needs it. Called on the background thread; no operation fails.
class PasteboardReading {
 public:
  virtual ~PasteboardReading() = default;

  /// The current text, or none when it holds no text.
  virtual std::optional<std::string> string() const = 0;

  /// Removes all its items.
  virtual void clear() const = 0;
};

}  // namespace corvane
