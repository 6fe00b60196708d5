#pragma once

namespace corvane::test {

/// The name look-ups of this test program: it defines `getaddrinfo`, which libcurl then calls on its resolver
/// threads. Names that do not end in ".test" go to the system's resolver.
///
///   "anything.loopback.test"  127.0.0.1
///   "refused-last.test"       2001:db8::1, to which there is no route, then 127.0.0.1
///   "refused-first.test"      the same addresses in the other order
///   "unreachable.test"        10.77.1.1 and 10.77.1.2, to which there is no route
///   "silent.test"             no result until `release` is called
///   "late.test"               no such name, until `makeLateKnown(true)`
///   others in ".test"         no such name
class LookUps {
 public:
  /// Makes the pending look-ups of "silent.test" fail, and waits until they have returned.
  static void release();
  /// Waits until a look-up of "silent.test" is pending.
  static void awaitSilent();
  static void makeLateKnown(bool known);
  /// Waits until "late.test" has been looked up that often since `makeLateKnown`.
  static void awaitLate(int count);
};

}  // namespace corvane::test
