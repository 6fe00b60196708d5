#include "FilePasteboard.h"

#include <fstream>
#include <iterator>

namespace corvane::demo {

std::optional<std::string> FilePasteboard::string() {
  std::ifstream file(file_, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void FilePasteboard::clear() {
  std::filesystem::remove(file_);
}

}  // namespace corvane::demo
