#include "flows/LinkURL.h"

#include <gtest/gtest.h>

#include <random>

#include "foundation/text/URL.h"
#include "foundation/text/Unicode.h"

namespace corvane {
namespace {

using Text = std::optional<std::string>;

struct Row {
  std::string text;
  /// None: not a link.
  Text slug;
  Text host = "go.example";
  Text path = std::nullopt;
};

TEST(LinkURL, IsReadAsTheHeaderSays) {
  const std::string nul(1, '\0');
  const Row rows[] = {
      {"https://go.example/summer/x?path=/sale", "summer", "go.example", "/sale"},
      {"HTTPS://user@GO.example:/{campaign}?path=", "{campaign}", "GO.example", ""},
      {"https://go.example//a b|c?x=%%GAID%%", "a b|c"},
      {"https://[2001:db8::1]:8080/s#path=/no", "s", "2001:db8::1"},
      {"https://go.example/\u00e9t\u00e9?path=a+b&path=%zz", "\u00e9t\u00e9", "go.example", "%zz"},
      {"https://go.example/s?a?path=/x&path=/y?z", "s", "go.example", "/y?z"},
      {"shop:abc", "abc", std::nullopt},
      {"shop://open/abc", "abc", "open"},
      // Untidy, but links.
      {" https://go.example/s \n", "s"},
      {"https://go.example/%25", "%"},
      {"https://go.example/a" + nul + "b", "a" + nul + "b"},
      {"https://go.example/s?p%61th=1&path=%FF", "s", "go.example", "1"},
      {"https://go.example/s?Path=1&paths=2&path#path=3", "s", "go.example", ""},
      {"https://a@b:c@go%2Eexample/s", "s"},
      {"https://m\u00fcnchen.example/s", "s", "m\u00fcnchen.example"},
      {"https://go.example/.../x", "..."},
      {"https://go.example/%2F/%2f//s", "s"},
      // Not links.
      {"https://go.example", {}},
      {"https://go.example//%2F", {}},
      {"https://go.example/%2F%2F/s", {}},
      {"https://go.example/./s", {}},
      {"https://go.example/%2e%2E/abc", {}},
      {"https://go.example/a%2Fb", {}},
      {"https://go.example/a%5Cb", {}},
      {"https://go.example\\s", {}},
      {"https://go.example/%FF", {}},
      {"https://%FF/s", {}},
      {"https://go.example/\xFF", {}},
      {"https://go.example:port/s", {}},
      {"https://[::zz]/s", {}},
      {"go.example/summer", {}},
      {"1a:/s", {}},
      {":/s", {}},
      {"", {}},
      {"https://go.example/" + std::string(maximumURLSize, 'a'), {}},
  };
  for (const Row& row : rows) {
    const auto link = parseLinkURL(row.text);
    SCOPED_TRACE(row.text.substr(0, 80));
    ASSERT_EQ(link.has_value(), row.slug.has_value());
    if (!link) continue;
    EXPECT_EQ(link->slug, row.slug);
    EXPECT_EQ(link->host, row.host);
    EXPECT_EQ(link->path, row.path);
  }
}

TEST(LinkURL, KeepsAURLAsItStandsAndEncodesOnlyWhatIsNotAllowed) {
  EXPECT_EQ(parseLinkURL("HTTP://U:p@Go.example:80/a%2db?q=%7e#f")->url,
            "HTTP://U:p@Go.example:80/a%2db?q=%7e#f");
  EXPECT_EQ(parseLinkURL("https://go.example/{a}%?x=[y]&z= %%41%4#\u00e9")->url,
            "https://go.example/%7Ba%7D%25?x=%5By%5D&z=%20%25%41%254#%C3%A9");
}

TEST(LinkURL, AnyTextIsRejectedOrGivesAValidLink) {
  std::mt19937 random(20261123);
  const std::string_view characters("s:://?#%2Ff@[]path=&..\\\xC3\xA9\0", 26);
  std::uniform_int_distribution<std::size_t> pick(0, characters.size() - 1);
  for (int round = 0; round < 50000; ++round) {
    std::string text = round % 2 == 0 ? "s:" : "";
    for (std::size_t length = pick(random); length > 0; --length) text += characters[pick(random)];
    const auto link = parseLinkURL(text);
    if (!link) continue;
    EXPECT_TRUE(isURL(link->url)) << text;
    EXPECT_TRUE(isValidUTF8(link->slug)) << text;
    EXPECT_EQ(parseLinkURL(link->url)->slug, link->slug) << text;
  }
}

TEST(LinkURL, MatchesADomainThatIsItsHostOrAParentOfIt) {
  const std::vector<std::string> domains = {".odd.example", "Go.Example", "\u00c9t\u00e9.example"};
  for (const char* host : {"go.example", "GO.EXAMPLE", "a.b.go.example", "\u00e9t\u00e9.EXAMPLE"})
    EXPECT_TRUE(matchesLinkDomains(host, domains)) << host;
  for (const char* host : {"xgo.example", "go.example.evil", "odd.example", "a.odd.example", "example"})
    EXPECT_FALSE(matchesLinkDomains(host, domains)) << host;
  EXPECT_FALSE(matchesLinkDomains(std::nullopt, domains));
  EXPECT_TRUE(matchesLinkDomains(std::nullopt, {}));
}

}  // namespace
}  // namespace corvane
