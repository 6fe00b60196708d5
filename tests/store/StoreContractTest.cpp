#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/preferences/UserDefaultsFlagStore.h"
#include "platform/preferences/UserDefaultsStringStore.h"
#include "store/StoreSupport.h"
#include "support/MemoryStores.h"

namespace corvane {
namespace {

using namespace std::string_literals;

/// The fake that other tests use, or the real file.
struct Stores {
  std::shared_ptr<FlagStore> flags;
  std::shared_ptr<DataUpdates> updates;
  std::shared_ptr<KeyValueStringStore> strings;
};

Stores inMemory(const std::filesystem::path&) {
  const auto flags = std::make_shared<test::MemoryFlagStore>();
  return {flags, flags, std::make_shared<test::MemoryStringStore>()};
}

Stores inAFile(const std::filesystem::path& folder) {
  const auto defaults = platform::UserDefaults::open(folder / "preferences.sqlite");
  const auto flags = std::make_shared<platform::UserDefaultsFlagStore>(defaults, "io.corvane");
  return {flags, flags, std::make_shared<platform::UserDefaultsStringStore>(defaults, "io.corvane")};
}

class StoreContract : public ::testing::TestWithParam<Stores (*)(const std::filesystem::path&)> {
 protected:
  test::TemporaryFolder folder_;
  const Stores stores_ = GetParam()(folder_.path());
  const std::shared_ptr<FlagStore> flags_ = stores_.flags;
  const std::shared_ptr<KeyValueStringStore> strings_ = stores_.strings;
};

TEST_P(StoreContract, AnyValueWrittenLastIsReadAndWhatIsAbsentIsFalseOrNone) {
  EXPECT_FALSE(flags_->boolForKey("a"));
  for (const bool value : {true, false}) {
    flags_->setBool(value, "a");
    EXPECT_EQ(flags_->boolForKey("a"), value);
  }
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  for (const std::string& value :
       {""s, "\0"s, "a\0b\0"s, "\xFF\xC0\x80"s, everyByte, std::string(100'000, 'x')}) {
    strings_->setString(value, "b");
    EXPECT_EQ(strings_->stringForKey("b"), value);
    flags_->setData(value, "c");
    EXPECT_EQ(flags_->dataForKey("c"), value);
  }
  for (int round = 0; round < 2; ++round) {
    strings_->removeValue("b");
    EXPECT_EQ(strings_->stringForKey("b"), std::nullopt);
    flags_->setData(std::nullopt, "c");
    EXPECT_EQ(flags_->dataForKey("c"), std::nullopt);
  }
}

TEST_P(StoreContract, ATextIsMadeAndStoredWhereThereIsNone) {
  const auto make = [] { return "made"s; };
  EXPECT_EQ(strings_->stringForKeyOrStore("a", make), "made");
  for (const char* there : {"", "there"}) {
    strings_->setString(there, "a");
    const std::string expected = *there ? there : "made";
    EXPECT_EQ(strings_->stringForKeyOrStore("a", make), expected);
    EXPECT_EQ(strings_->stringForKey("a"), expected);
  }
}

TEST_P(StoreContract, AnUpdateReplacesTheBytesThatItIsGivenAndAValueOfAnotherTypeIsAbsent) {
  const auto update = [this](std::optional<std::string> expected, std::optional<std::string> after) {
    const auto change = [&](const auto& before) {
      EXPECT_EQ(before, expected);
      return after;
    };
    EXPECT_EQ(stores_.updates->updateData("a", change, DataUpdates::Wait::usual), DataUpdates::Result::done);
    EXPECT_EQ(flags_->dataForKey("a"), after);
  };
  flags_->setData("1", "a");
  flags_->setBool(true, "a");
  EXPECT_EQ(flags_->dataForKey("a"), std::nullopt);
  EXPECT_TRUE(flags_->boolForKey("a"));
  update(std::nullopt, "1");
  EXPECT_FALSE(flags_->boolForKey("a"));
  update("1", "second");
  update("second", "second");
  update("second", std::nullopt);
  update(std::nullopt, std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(, StoreContract, ::testing::Values(inMemory, inAFile),
                         [](const auto& stores) { return stores.index == 0 ? "InMemory" : "InAFile"; });

}  // namespace
}  // namespace corvane
