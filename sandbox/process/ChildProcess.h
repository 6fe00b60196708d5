#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "http/Descriptor.h"

namespace corvane::test {

using sandbox::Descriptor;

/// How a program ended.
struct ChildEnd {
  /// The exit status, or minus the number of the signal that killed it.
  int status = 0;
  /// It did not end in time and was killed.
  bool timedOut = false;
  /// What it wrote to standard output, without the lines that were read before.
  std::string output;
  /// What it wrote to standard error, if that was captured.
  std::string errors;
  /// When the program was seen to have ended.
  std::chrono::steady_clock::time_point moment;

  /// The lines of `output`.
  std::vector<std::string> lines() const;
};

struct ChildOptions {
  enum class StandardError { inherited, captured, discarded };

  /// "NAME=value": variables that replace or join those of this process.
  std::vector<std::string> environment;
  StandardError standardError = StandardError::inherited;
  /// More descriptors for the child: its number for each, and the number that it has here.
  std::map<int, int> descriptors;
};

/// A child process with its standard input and output connected to this object. Used by one thread.
///
///   ChildProcess child("/usr/bin/cat");
///   child.writeLine("hello");
///   child.readLine();                  // "hello"
///   child.closeInput();
///   child.awaitEnd().status;           // 0
///
/// The child starts with no signal blocked and SIGPIPE not ignored. It reads the end of its standard input
/// when this process dies; a program that must not outlive this one ends then. Every wait has a time limit.
/// Failures throw `std::runtime_error`.
class ChildProcess {
 public:
  using Duration = std::chrono::milliseconds;
  static constexpr Duration defaultTimeout = std::chrono::seconds(30);

  /// Starts a program, given by its path.
  explicit ChildProcess(const std::string& program, std::vector<std::string> arguments = {},
                        const ChildOptions& options = {});
  /// Forks this process. The child runs the function and exits with its result, or with 99 when it throws.
  explicit ChildProcess(const std::function<int()>& body);
  /// Kills the child if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t id() const { return id_; }

  /// Writes a line to the child's standard input.
  void writeLine(const std::string& line);
  void closeInput() { input_.close(); }

  /// The next line of its standard output, without the line break; nothing at the end of the output. Throws
  /// at the time limit.
  std::optional<std::string> readLine(Duration timeout = defaultTimeout);

  void kill(int signal) const;

  /// Waits until the child has ended and its captured outputs are closed. Kills it at the time limit. May be
  /// called again and then returns the same.
  ChildEnd awaitEnd(Duration timeout = defaultTimeout);

 private:
  using Clock = std::chrono::steady_clock;

  bool readMore(Clock::time_point deadline);

  std::string name_;
  pid_t id_ = -1;
  Descriptor running_;  // readable when the child has ended, closed here when that was seen
  Descriptor input_;
  Descriptor output_;
  Descriptor errors_;
  ChildEnd end_;
  bool isReaped_ = false;
};

/// Starts a program with both outputs captured and waits for its end.
ChildEnd runProgram(const std::string& program, std::vector<std::string> arguments,
                    ChildProcess::Duration timeout = ChildProcess::defaultTimeout);

}  // namespace corvane::test
