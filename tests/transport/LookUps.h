#pragma once

namespace corvane::test {

/// This test program's own name look-ups: it defines `getaddrinfo`, which libcurl then calls on its look-up
/// threads. Names that do not end in ".test" go to the system's resolver.
///
///   "anything.loopback.test"  127.0.0.1
///   "both.test"               an IPv6 address without a way to it, then 127.0.0.1
///   "silent.test"             no answer until `release` is called
///   "late.test"               no such name, until `makeLateKnown(true)`
///   others in ".test"         no such name
class LookUps {
 public:
  /// Answers the look-ups of "silent.test" that hang, as failures, and waits until they have returned.
  static void release();
  /// Blocks until a look-up of "silent.test" hangs.
  static void awaitSilent();
  static void makeLateKnown(bool known);
};

}  // namespace corvane::test
