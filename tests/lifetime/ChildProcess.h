#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace corvane::test {

/// How a program ended.
struct ChildEnd {
  /// The exit status, or minus the number of the signal that killed it.
  int status = 0;
  bool killedByWatchdog = false;
  std::string output;
  std::string errors;
  /// When the program was seen to have ended.
  std::chrono::steady_clock::time_point moment;

  std::vector<std::string> lines() const;
};

/// Runs a program until it has ended and everything that holds its output has; kills it when that takes too
/// long.
ChildEnd runToItsEnd(const std::string& program, std::vector<std::string> arguments,
                     std::chrono::seconds watchdog = std::chrono::seconds(10));

}  // namespace corvane::test
