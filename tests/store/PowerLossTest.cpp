#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <string>

#include "store/PowerLossVFS.h"
#include "store/StoreSupport.h"
#include "support/Build.h"
#include "support/Draw.h"

namespace corvane::platform {
namespace {

namespace VFS = test::PowerLossVFS;

class PowerLoss : public test::PreferencesTest {
 protected:
  PowerLoss() { VFS::install(); }
  ~PowerLoss() override { VFS::uninstall(); }
};

TEST_F(PowerLoss, CostsNoWriteThatReachedTheFile) {
  test::Draw draw("PowerLoss");
  std::map<std::string, std::string> synced;
  int cuts = 0;

  for (int round = 0; round < (test::repeatsInFull ? 300 : 60); ++round) {
    VFS::cutPowerAt(static_cast<int>(draw.below(250)));
    std::map<std::string, std::string> underWay;
    {
      const auto defaults = open();
      for (const auto& [key, value] : synced) {
        const auto found = defaults->dataForKey(key);
        ASSERT_TRUE(found == value || VFS::powerIsCut()) << "round " << round;
      }
      for (int step = 0; step < 60; ++step) {
        const std::string key = "key" + std::to_string(draw.below(5));
        const std::string value =
            std::to_string(round) + "." + std::to_string(step) + std::string(draw.below(9000), 'x');
        underWay[key] = value;
        defaults->setData(value, key);
        EXPECT_EQ(defaults->dataForKey(key), value) << "the newest value is read, wherever it lives";
        if (!defaults->synchronize()) break;
        synced[key] = value;
        underWay.clear();
      }
    }
    cuts += VFS::powerIsCut() ? 1 : 0;
    VFS::losePower([&](std::uint64_t bound) { return draw.below(bound); });

    const auto defaults = open();
    for (auto& [key, value] : synced) {
      const auto found = defaults->dataForKey(key);
      if (underWay.contains(key) && found == underWay[key]) value = *found;
      ASSERT_EQ(found, value) << "round " << round;
    }
    expectHealthyFile();
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
  EXPECT_GT(cuts, 0);
}

/// The disk fails once, or for good until it is repaired, at each of its operations in turn.
class FailingDisk : public PowerLoss, public ::testing::WithParamInterface<std::tuple<int, int>> {};

TEST_P(FailingDisk, CostsNoValueAndNoHealthyFile) {
  const auto [code, count] = GetParam();
  open()->setString("4F0C", "device_id");
  bool failed = true;
  for (int operation = 0; failed; ++operation) {
    SCOPED_TRACE("operation " + std::to_string(operation));
    VFS::reset();
    VFS::fail(operation, code, count);
    const std::string value = std::to_string(operation);
    {
      const auto defaults = open();
      defaults->setString(value, "text");
      defaults->setData(std::string(20'000, 'x') + value, "data");
      EXPECT_EQ(defaults->stringForKey("text"), value);
      EXPECT_TRUE(code != SQLITE_FULL || defaults->stringForKey("device_id") == "4F0C")
          << "a full disk is read";
      EXPECT_EQ(defaults->dataForKey("data"), std::string(20'000, 'x') + value);
      failed = VFS::operations() > operation;

      VFS::reset();
      defaults->setString("repaired" + value, "other");
      EXPECT_TRUE(defaults->synchronize());
      EXPECT_EQ(defaults->stringForKey("device_id"), "4F0C");
    }
    test::Shell shell(file_);
    EXPECT_EQ(
        shell.run("SELECT group_concat(value) FROM preferences WHERE key IN ('text', 'device_id', 'other')"),
        "4F0C,repaired" + value + "," + value);
    expectHealthyFile();
    ASSERT_FALSE(HasFailure());
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, FailingDisk,
                         ::testing::Combine(::testing::Values(SQLITE_FULL, SQLITE_IOERR_WRITE,
                                                              SQLITE_IOERR_FSYNC),
                                            ::testing::Values(1, 1'000'000)));

}  // namespace
}  // namespace corvane::platform
