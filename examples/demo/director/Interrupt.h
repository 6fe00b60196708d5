#pragma once

namespace corvane::demo {

/// Ctrl-C and its like as something that a wait can notice, so that the demo tidies up before it ends. One in
/// the process, made before its first child.
class Interrupt {
 public:
  /// Takes SIGINT, SIGTERM and SIGHUP over. SIGPIPE is ignored: a child that has ended shows by the end of
  /// its output.
  Interrupt();

  /// Becomes readable, for good, when a signal has come.
  int descriptor() const;

  /// The signal that has come, or 0.
  int signal() const;

  /// Ends this process by that signal, as if nobody had taken it over.
  [[noreturn]] void die() const;
};

/// Thrown by a wait that a signal ended.
struct Interrupted {};

}  // namespace corvane::demo
