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

/// A program that runs beside the test, with signals as a shell would start it.
class ChildProcess {
 public:
  /// Where its standard output goes: a pipe or a file that the test reads, a pipe whose reader is gone, or
  /// nowhere, with the descriptor closed.
  enum class Output { pipe, file, brokenPipe, closed };

  ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
               Output output = Output::pipe);
  /// Kills the program if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Ends its standard input, for which a program may wait.
  void closeInput();

  /// Waits until it has ended and everything that holds its output has, or kills it when that takes too long.
  ChildEnd wait(std::chrono::seconds watchdog = std::chrono::seconds(10));

 private:
  void reap(ChildEnd& end);

  pid_t process_ = -1;
  int processDescriptor_ = -1;
  int input_ = -1;
  int output_ = -1;
  int errors_ = -1;
  bool outputIsFile_ = false;
};

}  // namespace corvane::test
