#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <thread>
#include <vector>

#include "platform/preferences/UserDefaultsFlagStore.h"
#include "platform/preferences/UserDefaultsStringStore.h"
#include "store/StoreSupport.h"
#include "support/MemoryStores.h"

namespace corvane {
namespace {

using namespace std::string_literals;

/// One kind of store: the fake that other tests use, or the real file.
struct Kind {
  std::string name;
  std::function<std::unique_ptr<FlagStore>(const std::filesystem::path&)> flags;
  std::function<std::unique_ptr<KeyValueStringStore>(const std::filesystem::path&)> strings;
};

void PrintTo(const Kind& kind, std::ostream* stream) {
  *stream << kind.name;
}

std::vector<Kind> kinds() {
  return {{"Memory", [](const auto&) { return std::make_unique<test::MemoryFlagStore>(); },
           [](const auto&) { return std::make_unique<test::MemoryStringStore>(); }},
          {"File",
           [](const auto& folder) {
             return std::make_unique<platform::UserDefaultsFlagStore>(
                 platform::UserDefaults::open(folder / "preferences.sqlite"), "io.corvane");
           },
           [](const auto& folder) {
             return std::make_unique<platform::UserDefaultsStringStore>(
                 platform::UserDefaults::open(folder / "preferences.sqlite"), "io.corvane");
           }}};
}

class StoreContract : public ::testing::TestWithParam<Kind> {
 protected:
  test::TemporaryFolder folder_;
  std::unique_ptr<FlagStore> flags_ = GetParam().flags(folder_.path());
  std::unique_ptr<KeyValueStringStore> strings_ = GetParam().strings(folder_.path());
};

TEST_P(StoreContract, WhatWasWrittenLastIsReadAndWhatIsAbsentIsFalseOrNone) {
  EXPECT_FALSE(flags_->boolForKey("a"));
  for (const bool value : {true, false}) {
    flags_->setBool(value, "a");
    EXPECT_EQ(flags_->boolForKey("a"), value);
  }
  for (const char* value : {"first", "second"}) {
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

TEST_P(StoreContract, AnyTextAndAnyBytesComeBackWhole) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  const std::vector<std::string> values = {
      "", "\0"s, "a\0b\0"s, "\xFF\xC0\x80", everyByte, std::string(100'000, 'x')};
  for (const std::string& value : values) {
    flags_->setData(value, "bytes");
    EXPECT_EQ(flags_->dataForKey("bytes"), value);
    strings_->setString(value, "text");
    EXPECT_EQ(strings_->stringForKey("text"), value);
  }
}

TEST_P(StoreContract, AValueOfAnotherTypeIsAbsentAndIsReplaced) {
  flags_->setData("1", "a");
  EXPECT_FALSE(flags_->boolForKey("a"));
  flags_->setBool(true, "a");
  EXPECT_EQ(flags_->dataForKey("a"), std::nullopt);
  EXPECT_TRUE(flags_->boolForKey("a"));
}

TEST_P(StoreContract, ThreadsWriteAndReadAtTheSameTime) {
  constexpr int rounds = 50;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, key = "key" + std::to_string(number)] {
      for (int round = 0; round < rounds; ++round) {
        flags_->setData(key + std::to_string(round), key);
        EXPECT_EQ(flags_->dataForKey(key), key + std::to_string(round));
        strings_->setString("shared", "text");
        EXPECT_EQ(strings_->stringForKey("text"), "shared");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreContract, ::testing::ValuesIn(kinds()),
                         [](const auto& kind) { return kind.param.name; });

}  // namespace
}  // namespace corvane
