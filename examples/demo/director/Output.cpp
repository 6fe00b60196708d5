#include "Output.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace corvane::demo {
namespace {

/// The colours of a terminal: parameters of its escape sequence "select graphic rendition".
constexpr const char *plain = "0", *bold = "1", *dim = "2", *red = "31", *green = "32", *blue = "34",
                     *magenta = "35";

enum class Block { title, text, lines, checks };

const auto startTime = std::chrono::steady_clock::now();
Block lastBlock = Block::checks;
std::string scene;
int checks = 0;
std::vector<std::string> failures;

/// Blocks of different kinds have an empty line between them.
void print(Block block, const std::string& colour, const std::string& text) {
  static const bool hasColours = isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
  if (block != lastBlock && lastBlock != Block::title) std::putchar('\n');
  lastBlock = block;
  std::puts((hasColours ? "\033[" + colour + "m" + text + "\033[0m" : text).c_str());
  std::fflush(stdout);
}

}  // namespace

void beginScene(const std::string& title, const std::string& text) {
  scene = title;
  print(Block::title, bold, title);
  say(text);
}

void say(const std::string& text) {
  std::string indented = "  " + text;
  for (std::size_t end = 0; (end = indented.find('\n', end)) != indented.npos; ++end)
    indented.insert(end + 1, "  ");
  print(Block::text, plain, indented);
}

void printLine(const std::string& line) {
  const auto colour = line.starts_with("[Corvane]") ? dim : line.starts_with("backend:") ? magenta : blue;
  print(Block::lines, colour, "    " + line);
}

void check(const std::string& expectation, bool holds) {
  ++checks;
  if (!holds) failures.push_back(scene + ": " + expectation);
  print(Block::checks, holds ? green : red, (holds ? "  ok      " : "  FAILED  ") + expectation);
}

bool printResult() {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - startTime;
  if (failures.empty())
    std::printf("\nAll %d checks hold (%.1f s). The scenes are in examples/demo/director.\n", checks,
                elapsed.count());
  else
    std::printf("\n%zu of %d checks FAILED (%.1f s):\n", failures.size(), checks, elapsed.count());
  for (const std::string& failure : failures) std::printf("  %s\n", failure.c_str());
  return failures.empty();
}

}  // namespace corvane::demo
