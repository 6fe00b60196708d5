#pragma once

#include <memory>
#include <utility>

#include "corvane/CorvanePasteboard.h"
#include "foundation/PasteboardReading.h"

namespace corvane::platform {

/// The pasteboard that the host supplies; without one, a pasteboard that holds no text. What the host's
/// throws counts as no text.
class SystemPasteboard final : public PasteboardReading {
 public:
  explicit SystemPasteboard(std::shared_ptr<CorvanePasteboard> general) : general_(std::move(general)) {}

  std::optional<std::string> string() const override;
  void clear() const override;

 private:
  std::shared_ptr<CorvanePasteboard> general_;
};

}  // namespace corvane::platform
