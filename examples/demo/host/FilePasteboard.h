#pragma once

#include <corvane.h>

#include <filesystem>
#include <utility>

namespace corvane::demo {

/// A pasteboard in a file, which the demo writes and reads. Without the file it has no text.
class FilePasteboard final : public CorvanePasteboard {
 public:
  explicit FilePasteboard(std::filesystem::path file) : file_(std::move(file)) {}

  std::optional<std::string> string() override;
  void clear() override;

 private:
  const std::filesystem::path file_;
};

}  // namespace corvane::demo
