#pragma once

#include <string>
#include <string_view>

#include "corvane/CorvaneLogLevel.h"

namespace corvane {

/// Decides whether a line is written, and writes it. An immutable value, copied into every component that
/// logs; usable from any thread.
struct CorvaneLogger {
  bool enabled = false;
  CorvaneLogLevel minimumLevel = CorvaneLogLevel::none;

  bool admits(CorvaneLogLevel level) const noexcept { return enabled && minimumLevel <= level; }

  /// Writes one line at `level` when it is admitted. `message` is a callable that gives the text, and is
  /// called only then: a line that is not admitted costs no string work.
  template <class Message>
  void log(CorvaneLogLevel level, const Message& message) const {
    if (admits(level)) write(level, message());
  }

  template <class Message>
  void debug(const Message& message) const {
    log(CorvaneLogLevel::debug, message);
  }
  template <class Message>
  void info(const Message& message) const {
    log(CorvaneLogLevel::info, message);
  }
  template <class Message>
  void warning(const Message& message) const {
    log(CorvaneLogLevel::warning, message);
  }
  template <class Message>
  void error(const Message& message) const {
    log(CorvaneLogLevel::error, message);
  }

 private:
  static void write(CorvaneLogLevel level, std::string_view message);
};

/// The message on one line: control characters, which can only have come from outside, are written as `\n`,
/// `\r` and `\xNN`, so that no outside text can forge a line.
std::string singleLine(std::string_view message);

}  // namespace corvane
