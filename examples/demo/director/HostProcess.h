#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Interrupt.h"

namespace corvane::demo {

/// One launch of the application, as a child process: what it prints, and what its user does.
///
/// Used by one thread. Every wait ends within a bound, by an exception; a signal ends it by `Interrupted`.
/// The child ends when this object goes, or the whole director does.
class HostProcess {
 public:
  using LineHandler = std::function<void(const std::string& line)>;

  /// Starts the program. `onLine` is called with each line of its output while a wait reads it.
  HostProcess(const std::string& program, std::vector<std::string> arguments, const Interrupt& interrupt,
              LineHandler onLine);
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /// Waits until so many lines that hold `text` have been printed, before or during the call.
  void waitFor(std::string_view text, long times = 1);

  /// The user types a line.
  void type(const std::string& line);

  /// The user closes the application; waits for its end. Throws unless its exit status is 0.
  void close();
  /// Waits, for however long, for the user to close an application with a window. Throws as `close` does.
  void awaitEnd();

  /// How many of the lines so far hold `text`.
  long count(std::string_view text) const;
  /// Whether a line that holds `first` was printed before one that holds `second`.
  bool printedInOrder(std::string_view first, std::string_view second) const;
  /// The latest line that holds `text`; throws where there is none.
  const std::string& lastLine(std::string_view text) const;

 private:
  bool readMore(const std::string& awaited, int bound);
  void takeLines();
  void takeStatus();

  const Interrupt& interrupt_;
  const LineHandler onLine_;
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string unread_;
  std::vector<std::string> lines_;
};

}  // namespace corvane::demo
