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

/// The 32 lower-case hexadecimal digits behind the leftmost "cv_click=" that has them. Takes linear time and
/// does not recurse.
std::optional<std::string> findClickToken(std::string_view text);

/// Where the first launch gets its click token from. Used on the background thread.
struct ClickToken {
  CorvaneClickTokenSource source;
  std::shared_ptr<FlagStore> flagStore;
  std::shared_ptr<PasteboardReading> pasteboard;
  CorvaneLogger logger;

  /// The token on the pasteboard; none unless the source is `automatic`, and none once a deferred link was
  /// routed. In both cases the pasteboard is not touched.
  std::optional<std::string> automaticClickToken() const;

  /// The token in a text that the host handed in; none when the source is `none`.
  std::optional<std::string> handedInClickToken(std::string_view text) const;

 private:
  std::optional<std::string> extractClickToken(std::string_view text) const;
};

}  // namespace corvane
