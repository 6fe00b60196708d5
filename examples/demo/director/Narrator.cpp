#include "Narrator.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace corvane::demo {
namespace {

constexpr const char* plain = "";
constexpr const char* bold = "\033[1m";
constexpr const char* dim = "\033[2m";
constexpr const char* red = "\033[31m";
constexpr const char* green = "\033[32m";
constexpr const char* blue = "\033[34m";
constexpr const char* magenta = "\033[35m";

bool wantsColours() {
  const char* const terminal = std::getenv("TERM");
  const char* const refused = std::getenv("NO_COLOR");
  if (refused != nullptr && *refused != '\0') return false;
  return isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

}  // namespace

Narrator::Narrator() : colours_(wantsColours()) {}

void Narrator::title(const std::string& text) {
  scene_ = text;
  print(Block::title, bold, "\n" + text);
}

void Narrator::say(const std::string& text) {
  print(Block::narration, plain, "  " + text);
}

void Narrator::applicationLine(const std::string& line) {
  print(Block::lines, line.starts_with("host: ") ? blue : dim, "    " + line);
}

void Narrator::backendLine(const std::string& text) {
  print(Block::lines, magenta, "    backend: " + text);
}

void Narrator::check(const std::string& expectation, bool holds) {
  ++checks_;
  if (!holds) failures_.push_back(scene_ + ": " + expectation);
  print(Block::checks, holds ? green : red, (holds ? "  ok      " : "  FAILED  ") + expectation);
}

void Narrator::print(Block block, const char* colour, const std::string& text) {
  if (block != last_ && last_ != Block::title && block != Block::title) std::putchar('\n');
  last_ = block;
  if (colours_ && *colour != '\0') {
    std::printf("%s%s\033[0m\n", colour, text.c_str());
  } else {
    std::printf("%s\n", text.c_str());
  }
  std::fflush(stdout);
}

}  // namespace corvane::demo
