#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the library needs of URLs (RFC 3986).
namespace corvane {

/// Whether the text is an absolute URL as it stands.
bool isURL(std::string_view text);

/// The URL's path as it is written, without query; empty when the text is not a URL.
std::string urlPath(std::string_view url);

using QueryItem = std::pair<std::string, std::string>;

/// The URL with `items` as its query, in their order, everything but RFC 3986's unreserved characters
/// encoded. No items give no query. None when the text is not a URL.
std::optional<std::string> urlWithQuery(std::string_view url, const std::vector<QueryItem>& items);

/// An absolute URL that came from outside.
struct OutsideURL {
  /// The whole URL, encoded where it has to be.
  std::string text;
  /// Decoded, in the case that it was written in, without port and without an IPv6 address's brackets; none
  /// where it is missing or empty.
  std::optional<std::string> host;
  /// Where path and query stand in `text`.
  std::size_t pathBegin = 0, pathSize = 0;
  std::size_t queryBegin = 0, querySize = 0;

  std::string_view path() const { return std::string_view(text).substr(pathBegin, pathSize); }
  std::string_view query() const { return std::string_view(text).substr(queryBegin, querySize); }
};

/// Reads a URL as real links are: white space around it is dropped (RFC 3986, appendix C), and what the RFC
/// does not allow where it stands is percent-encoded first: blanks, quotes, braces, brackets, `|`, `\`, bytes
/// beyond ASCII, control characters, a `%` that begins no escape, a `#` in a fragment, an `@` in a user info.
///
/// None for text without a scheme, that is no URL even so, that is not UTF-8, whose host is not, or that is
/// longer than `maximumURLSize`. Takes time in proportion to the text.
std::optional<OutsideURL> readOutsideURL(std::string_view text);

/// In bytes. No link is longer; what is, need not be looked at.
inline constexpr std::size_t maximumURLSize = std::size_t{64} << 10;

/// A part of a valid URL with its escapes decoded, `+` unchanged. The bytes need not be UTF-8.
std::string percentDecoded(std::string_view encoded);

}  // namespace corvane
