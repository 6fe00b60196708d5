#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string_view>

namespace corvane::test {

/// Random numbers that can be reproduced: prints its seed, which CORVANE_TEST_SEED sets.
class Draw {
 public:
  explicit Draw(std::string_view test) {
    const char* given = std::getenv("CORVANE_TEST_SEED");
    const std::uint64_t seed = given ? std::strtoull(given, nullptr, 10) : std::random_device()();
    std::cout << test << ": CORVANE_TEST_SEED=" << seed << std::endl;
    engine_.seed(seed);
  }
  std::uint64_t below(std::uint64_t bound) {
    return std::uniform_int_distribution<std::uint64_t>(0, bound - 1)(engine_);
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace corvane::test
