#pragma once

#include <string>

/// What the demo prints, and the outcomes of its checks. In colours on a terminal, unless NO_COLOR is set.
namespace corvane::demo {

/// Prints the title of a scene and what happens in it. A text may have several lines.
void beginScene(const std::string& title, const std::string& text);
void say(const std::string& text);
/// Prints a line of a program.
void printLine(const std::string& line);
void check(const std::string& expectation, bool holds);

/// Prints how many checks hold and which do not. Returns whether all hold.
bool printResult();

}  // namespace corvane::demo
