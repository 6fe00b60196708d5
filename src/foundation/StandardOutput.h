#pragma once

#include <string>

namespace corvane {

/// Writes `line`, which ends in a line break, to standard output whole and flushed, in order with what the
/// host prints by stdio. Lines of several threads never mix. Never fails and never raises SIGPIPE: where
/// standard output is closed the line is dropped.
void writeToStandardOutput(const std::string& line);

}  // namespace corvane
