#pragma once

#include <string>
#include <vector>

namespace corvane::demo {

/// What the demo prints, and the book of its checks. Colours only on a terminal, and not with NO_COLOR set.
class Narrator {
 public:
  Narrator();

  void title(const std::string& text);
  void say(const std::string& text);
  /// A line of the library or of the host, as it was printed.
  void applicationLine(const std::string& line);
  void backendLine(const std::string& text);

  void check(const std::string& expectation, bool holds);

  long checks() const { return checks_; }
  /// The expectations that did not hold.
  const std::vector<std::string>& failures() const { return failures_; }

 private:
  enum class Block { title, narration, lines, checks };

  /// Blocks of different kinds have an empty line between them.
  void print(Block block, const char* colour, const std::string& text);

  const bool colours_;
  Block last_ = Block::title;
  std::string scene_;
  long checks_ = 0;
  std::vector<std::string> failures_;
};

}  // namespace corvane::demo
