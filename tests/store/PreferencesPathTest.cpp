#include "platform/preferences/PreferencesPath.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace corvane::platform {
namespace {

using namespace std::string_view_literals;

class PreferencesPath : public ::testing::Test {
 protected:
  void SetUp() override { set("/home/someone", "/data"); }

  void TearDown() override { set(home_.c_str(), nullptr); }

  static void set(const char* home, const char* data) {
    home == nullptr ? ::unsetenv("HOME") : ::setenv("HOME", home, 1);
    data == nullptr ? ::unsetenv("XDG_DATA_HOME") : ::setenv("XDG_DATA_HOME", data, 1);
  }

 private:
  std::string home_ = std::getenv("HOME") == nullptr ? "/" : std::getenv("HOME");
};

TEST_F(PreferencesPath, IsInTheDataHomeOrBelowTheHome) {
  EXPECT_EQ(defaultPreferencesFile("com.example.shop"), "/data/com.example.shop/preferences.sqlite");
  for (const char* ignored : {static_cast<const char*>(nullptr), "", "relative/data"}) {
    set("/home/someone", ignored);
    EXPECT_EQ(defaultPreferencesFile("a"), "/home/someone/.local/share/a/preferences.sqlite");
  }
}

TEST_F(PreferencesPath, NeverLeavesTheDataHome) {
  const auto folder = [](std::string_view identifier) {
    return defaultPreferencesFile(identifier).parent_path().filename().string();
  };
  EXPECT_EQ(folder("../../etc"), "______etc");
  EXPECT_EQ(folder("/etc/passwd"), "_etc_passwd");
  EXPECT_EQ(folder("."), "_");
  EXPECT_EQ(folder(".."), "__");
  EXPECT_EQ(folder("a...b"), "a__.b");
  EXPECT_EQ(folder("a\0\n\x7F z"sv), "a___ z");
}

TEST_F(PreferencesPath, HasTheExecutablesNameWithoutAnIdentifier) {
  EXPECT_EQ(defaultPreferencesFile(""), "/data/store_tests/preferences.sqlite");
}

}  // namespace
}  // namespace corvane::platform
