#include "flows/LinkURL.h"

#include <algorithm>
#include <utility>

#include "foundation/text/URL.h"
#include "foundation/text/Unicode.h"

namespace corvane {
namespace {

/// The first segment that is neither empty nor an encoded "/" alone; as it is written.
std::string_view firstSegment(std::string_view path) {
  while (!path.empty()) {
    const std::string_view segment = path.substr(0, path.find('/'));
    if (!segment.empty() && segment != "%2F" && segment != "%2f") return segment;
    path.remove_prefix(std::min(segment.size() + 1, path.size()));
  }
  return path;
}

std::optional<std::string> slugIn(std::string_view path) {
  std::string slug = percentDecoded(firstSegment(path));
  const bool rejected = slug.empty() || slug == "." || slug == ".." ||
                        slug.find_first_of("/\\") != std::string::npos || !isValidUTF8(slug);
  return rejected ? std::nullopt : std::optional(std::move(slug));
}

/// The value of the item when it is a "path"; empty for one without "=".
std::optional<std::string> pathIn(std::string_view item) {
  const auto equals = item.find('=');
  if (percentDecoded(item.substr(0, equals)) != "path") return std::nullopt;
  std::string value = equals == std::string_view::npos ? "" : percentDecoded(item.substr(equals + 1));
  return isValidUTF8(value) ? std::optional(std::move(value)) : std::nullopt;
}

std::optional<std::string> lastPathItemIn(std::string_view query) {
  std::optional<std::string> path;
  while (!query.empty()) {
    const std::string_view item = query.substr(0, query.find('&'));
    if (auto value = pathIn(item)) path = std::move(value);
    query.remove_prefix(std::min(item.size() + 1, query.size()));
  }
  return path;
}

}  // namespace

std::optional<ParsedLink> parseLinkURL(std::string_view text, const std::vector<std::string>& domains) {
  auto url = readOutsideURL(text);
  // Most URLs that an application opens are not tracking links; the host is the cheapest test.
  if (!url || !matchesLinkDomains(url->host, domains)) return std::nullopt;
  auto slug = slugIn(url->path());
  if (!slug) return std::nullopt;
  auto path = lastPathItemIn(url->query());
  return ParsedLink{.url = std::move(url->text),
                    .host = std::move(url->host),
                    .slug = *std::move(slug),
                    .path = std::move(path)};
}

bool matchesLinkDomains(const std::optional<std::string>& host, const std::vector<std::string>& domains) {
  if (domains.empty()) return true;
  if (!host) return false;
  const std::string lower = lowercased(*host);
  return std::any_of(domains.begin(), domains.end(), [&](const std::string& configured) {
    const std::string domain = lowercased(configured);
    if (!lower.ends_with(domain)) return false;
    const std::size_t above = lower.size() - domain.size();
    return above == 0 || lower[above - 1] == '.';
  });
}

}  // namespace corvane
