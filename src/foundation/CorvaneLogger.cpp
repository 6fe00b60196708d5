#include "foundation/CorvaneLogger.h"

#include "foundation/StandardOutput.h"

namespace corvane {
namespace {

std::string_view prefix(CorvaneLogLevel level) {
  switch (level) {
    case CorvaneLogLevel::debug:
      return "[Corvane] [DEBUG] ";
    case CorvaneLogLevel::info:
      return "[Corvane] [INFO] ";
    case CorvaneLogLevel::warning:
      return "[Corvane] [WARN] ";
    case CorvaneLogLevel::error:
    case CorvaneLogLevel::none:
      break;
  }
  return "[Corvane] [ERROR] ";
}

/// How many bytes at `at` are one line-breaking or control character: the C0 set and DEL, and in UTF-8 the C1
/// set, U+2028 and U+2029.
std::size_t controlLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
  const unsigned first = byte(at);
  if (first < 0x20 || first == 0x7F) return 1;
  if (first == 0xC2 && byte(at + 1) >= 0x80 && byte(at + 1) <= 0x9F) return 2;
  if (first == 0xE2 && byte(at + 1) == 0x80 && (byte(at + 2) == 0xA8 || byte(at + 2) == 0xA9)) return 3;
  return 0;
}

void appendVisible(std::string& line, char character) {
  static constexpr char digits[] = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(character);
  if (character == '\n') {
    line += "\\n";
  } else if (character == '\r') {
    line += "\\r";
  } else {
    line += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
  }
}

}  // namespace

std::string singleLine(std::string_view message) {
  std::string line;
  line.reserve(message.size());
  for (std::size_t at = 0; at < message.size();) {
    const std::size_t control = controlLength(message, at);
    if (control == 0) line += message[at++];
    for (const std::size_t end = at + control; control != 0 && at < end; ++at)
      appendVisible(line, message[at]);
  }
  return line;
}

void CorvaneLogger::write(CorvaneLogLevel level, std::string_view message) {
  std::string line(prefix(level));
  line += singleLine(message);
  line += '\n';
  writeToStandardOutput(line);
}

}  // namespace corvane
