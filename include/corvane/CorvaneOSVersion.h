#pragma once

#include <compare>

/// A version of the operating system. Versions compare number by number: 15.10 is later than 15.4.
struct CorvaneOSVersion {
  int major = 0;
  int minor = 0;

  friend auto operator<=>(const CorvaneOSVersion&, const CorvaneOSVersion&) = default;
};
