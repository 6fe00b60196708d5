#include <gtest/gtest.h>

#include "corvane/CorvaneLogLevel.h"
#include "foundation/CorvaneLogger.h"
#include "support/CapturedOutput.h"

using corvane::CorvaneLogger;
using corvane::test::CapturedOutput;

TEST(CorvaneLogger, BuildsAndWritesWhatItsThresholdAdmitsWithTheLevelsPrefix) {
  int built = 0;
  const auto linesAt = [&built](bool enabled, CorvaneLogLevel minimum) {
    CapturedOutput output;
    const CorvaneLogger logger{enabled, minimum};
    logger.debug([&] { return ++built, "d"; });
    logger.info([] { return "i"; });
    logger.warning([] { return "w"; });
    logger.error([&] { return ++built, "e"; });
    return output.lines();
  };
  using Lines = std::vector<std::string>;
  const Lines all{"[Corvane] [DEBUG] d", "[Corvane] [INFO] i", "[Corvane] [WARN] w", "[Corvane] [ERROR] e"};
  EXPECT_EQ(linesAt(true, CorvaneLogLevel::debug), all);
  EXPECT_EQ(linesAt(true, CorvaneLogLevel::warning), Lines(all.begin() + 2, all.end()));
  EXPECT_EQ(linesAt(true, CorvaneLogLevel::none), Lines());
  EXPECT_EQ(linesAt(false, CorvaneLogLevel::debug), Lines());
  EXPECT_EQ(built, 3) << "a message that is not admitted was built";
}

TEST(CorvaneLogger, KeepsAMessageOnOneLine) {
  EXPECT_EQ(corvane::singleLine("a\nb\r\n[Corvane] [INFO] forged\t\x1B[0m\x7F"),
            "a\\nb\\r\\n[Corvane] [INFO] forged\\x09\\x1B[0m\\x7F");
  EXPECT_EQ(corvane::singleLine("é…→ \xC2\x85\xE2\x80\xA8"), "é…→ \\xC2\\x85\\xE2\\x80\\xA8");
  EXPECT_EQ(corvane::singleLine(std::string("\0", 1)), "\\x00");
  EXPECT_EQ(corvane::singleLine("\xC2"), "\xC2");
}
