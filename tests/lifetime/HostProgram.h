#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "process/ChildProcess.h"

namespace corvane::test {

/// Runs a scenario of `lifetime_host` to its end. A program that takes longer than `timeout` is killed.
inline ChildEnd runHost(const std::string& scenario, const std::string& baseURL, const std::string& folder,
                        std::vector<std::string> arguments = {},
                        std::chrono::seconds timeout = std::chrono::seconds(30)) {
  arguments.insert(arguments.begin(), {scenario, baseURL, folder});
  return runProgram(LIFETIME_HOST, std::move(arguments), timeout);
}

/// Expects the status, an end in time, and no message of a sanitizer or the C library.
inline void expectCleanEnd(const ChildEnd& end, int status) {
  EXPECT_FALSE(end.timedOut) << "the program did not end in time and was killed";
  EXPECT_EQ(end.status, status);
  EXPECT_EQ(end.errors, "");
  if (testing::Test::HasFailure()) std::printf("its output:\n%s\n", end.output.c_str());
}

using Milliseconds = std::chrono::duration<double, std::milli>;

/// From the line that the program prints before it exits to its end.
inline Milliseconds exitDuration(const ChildEnd& end) {
  const auto lines = end.lines();
  const auto leaving =
      std::ranges::find_if(lines, [](const auto& line) { return line.starts_with("leaving "); });
  if (leaving == lines.end()) {
    ADD_FAILURE() << "the program did not reach its exit: " << end.output;
    return Milliseconds(0);
  }
  return end.moment.time_since_epoch() - std::chrono::nanoseconds(std::stoll(leaving->substr(8)));
}

inline void printDurations(std::vector<Milliseconds> durations) {
  std::ranges::sort(durations);
  std::printf("%zu exits: %.1f ms median, %.1f ms at most\n", durations.size(),
              durations.at(durations.size() / 2).count(), durations.back().count());
}

/// Runs `round` up to `count` times, until an expectation fails. Stops after a minute too, because a busy
/// machine runs fewer rounds within a test's time limit, and prints how many there were. Returns that number.
inline int repeat(int count, const std::function<void(int number)>& round) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  int done = 0;
  while (done < count && !testing::Test::HasFailure()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      std::printf("stopped after one minute and %d of %d rounds\n", done, count);
      break;
    }
    round(done++);
  }
  return done;
}

}  // namespace corvane::test
