#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <map>
#include <string>

#include "platform/preferences/UserDefaults.h"
#include "store/StoreSupport.h"
#include "support/Build.h"

namespace corvane::platform {
namespace {

constexpr int keys = 7;

/// The value of write number `number`: long ones too, so that some commits take several pages.
std::string valueOf(std::uint32_t number) {
  return std::to_string(number) + ":" +
         std::string(number * 7919 % 20'000, static_cast<char>('a' + number % 26));
}

std::string keyOf(std::uint32_t number) {
  return "key" + std::to_string(number % keys);
}

/// Writes until it is killed, and prints the number of each write that is safely in the file.
int writeUntilKilled(const std::filesystem::path& file, std::uint32_t number) {
  const auto defaults = UserDefaults::open(file);
  for (;; ++number) {
    defaults->setData(valueOf(number), keyOf(number));
    if (!defaults->synchronize()) return 1;
    std::cout << number << std::endl;
  }
}

void spinFor(std::chrono::nanoseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) {
  }
}

TEST(Crash, EveryAcknowledgedWriteIsFoundAfterAKillAtAnyMoment) {
  const test::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "preferences.sqlite";
  test::Draw draw("Crash");
  const int rounds = test::repeatsInFull ? 100 : 20;
  std::uint32_t last = 0;
  std::map<std::string, std::uint32_t> acknowledged;

  for (int round = 0; round < rounds; ++round) {
    const auto enough = draw.below(15);
    const std::chrono::microseconds delay(draw.below(2000));
    test::ChildProcess child([&] { return writeUntilKilled(file, last + 1); });
    const auto take = [&] {
      const auto line = child.readLine();
      if (!line) return false;
      last = static_cast<std::uint32_t>(std::stoul(*line));
      acknowledged[keyOf(last)] = last;
      return true;
    };
    for (std::uint64_t count = 0; count < enough; ++count) ASSERT_TRUE(take());
    spinFor(delay);
    child.kill(SIGKILL);
    while (take()) {
    }
    ASSERT_EQ(child.awaitEnd().status, -SIGKILL);

    const auto defaults = UserDefaults::open(file);
    for (const auto& [key, number] : acknowledged) {
      const std::string found = defaults->dataForKey(key).value_or("0");
      const auto foundNumber = static_cast<std::uint32_t>(std::stoul(found));
      EXPECT_TRUE(found == valueOf(foundNumber)) << key << " is torn";
      // The one write that was under way may have come through as well.
      EXPECT_TRUE(foundNumber == number || foundNumber == last + 1)
          << key << ": " << foundNumber << " instead of " << number;
    }
    ASSERT_EQ(test::Shell(file).run("PRAGMA integrity_check"), "ok");
    ASSERT_TRUE(test::namesWith(".corrupt-", folder.path()).empty());
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
  std::cout << rounds << " kills, " << last << " acknowledged writes" << std::endl;
}

}  // namespace
}  // namespace corvane::platform
