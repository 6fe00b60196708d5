#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/CorvaneClickTokenSource.h"
#include "foundation/CorvaneLogger.h"
#include "foundation/FlagStore.h"
#include "foundation/PasteboardReading.h"

namespace corvane {

/// The token of the leftmost "cv_click=" that is followed by 32 lower-case hexadecimal digits: those digits.
/// In linear time, without recursion, whatever the text.
std::optional<std::string> findClickToken(std::string_view text);

/// Where the first launch gets its click token from. Used on the background thread.
struct ClickToken {
  CorvaneClickTokenSource source;
  std::shared_ptr<FlagStore> flagStore;
  std::shared_ptr<PasteboardReading> pasteboard;
  CorvaneLogger logger;

  /// The token on the pasteboard; none unless the source is `automatic`, and none once a deferred link was
  /// routed: the pasteboard is not touched then.
  std::optional<std::string> automaticClickToken() const;

  /// The token in a text that the host handed in; none when the source is `none`.
  std::optional<std::string> handedInClickToken(std::string_view text) const;

 private:
  std::optional<std::string> extractClickToken(std::string_view text) const;
};

}  // namespace corvane
