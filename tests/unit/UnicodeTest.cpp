#include "foundation/text/Unicode.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

#include "foundation/DeviceIdentity.h"
#include "foundation/text/URL.h"
#include "foundation/text/UUID.h"
#include "support/MemoryStores.h"

using namespace corvane;

TEST(Unicode, TrimsWhiteSpaceAndLineBreaksAtBothEnds) {
  const std::string_view around =
      " \t\n\v\f\r\xC2\x85\xC2\xA0\xE1\x9A\x80\xE2\x80\x80\xE2\x80\xA8\xE2\x80\xA9\xE3\x80\x80";
  EXPECT_EQ(trimmed(std::string(around) + "cv live" + std::string(around)), "cv live");
  EXPECT_EQ(trimmed(around), "");
  EXPECT_EQ(trimmed(""), "");
  // U+200B and control characters are not white space; bytes that are not UTF-8 stay.
  for (const char* kept : {"\xE2\x80\x8Bk\xE2\x80\x8B", "\x01k\x1F", "\x80k\x85", "\xE2\x80", "\xC2 x"})
    EXPECT_EQ(trimmed(kept), kept);
}

TEST(Unicode, LetterCaseDoesNotDependOnTheLocale) {
  setenv("LC_ALL", "tr_TR.UTF-8", 1);
  std::setlocale(LC_ALL, "");
  EXPECT_EQ(uppercased("i"), "I");
  EXPECT_EQ(uppercased("i\u00e9\u00df\ufb01"), "I\u00c9SSFI");
  EXPECT_EQ(lowercased("I\u00c9"), "i\u00e9");
  std::setlocale(LC_ALL, "C");
  unsetenv("LC_ALL");
}

TEST(UUID, IsRandomVersion4InUpperCase) {
  const std::string text = randomUUIDText();
  ASSERT_EQ(text.size(), 36U);
  EXPECT_EQ(text[14], '4');
  EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF-"), text.npos);
  EXPECT_NE(text, randomUUIDText());
}

TEST(DeviceIdentity, IsCreatedOnceAndAnEmptyOneIsReplaced) {
  const auto store = std::make_shared<test::MemoryStringStore>();
  const DeviceIdentity identity{store, "id"};
  const std::string created = identity.deviceIdOrCreate();
  EXPECT_EQ(created.size(), 36U);
  EXPECT_EQ(identity.deviceIdOrCreate(), created);
  store->setString("", "id");
  EXPECT_EQ(identity.deviceIdOrCreate().size(), 36U);
  store->setString("any text", "id");
  EXPECT_EQ(identity.deviceIdOrCreate(), "any text");
}

TEST(URL, AddsAQueryThatNoValueCanBreakOutOfAndOnlyToAURL) {
  EXPECT_EQ(urlWithQuery("https://h.test/p", {{"a b", "1&b=2"}, {"c", ""}, {"d", "\xC3\xA9+/?#%"}}),
            "https://h.test/p?a%20b=1%26b%3D2&c=&d=%C3%A9%2B%2F%3F%23%25");
  EXPECT_EQ(urlWithQuery("https://h.test/p", {}), "https://h.test/p");
  for (const char* text : {"", "no scheme", "/v1/x", "http://[::1/x", "http://h test/"})
    EXPECT_EQ(urlWithQuery(text, {}), std::nullopt) << text;
}
