#include "platform/services/SystemPasteboard.h"

CorvanePasteboard::~CorvanePasteboard() = default;

namespace corvane::platform {

std::optional<std::string> SystemPasteboard::string() const {
  if (!general_) return std::nullopt;
  try {
    return general_->string();
  } catch (...) {
    return std::nullopt;
  }
}

void SystemPasteboard::clear() const {
  if (!general_) return;
  try {
    general_->clear();
  } catch (...) {
    // A pasteboard that cannot be emptied keeps its text; the install goes on with the token.
  }
}

}  // namespace corvane::platform
