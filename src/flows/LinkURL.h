#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// What a tracking link's URL holds.
struct ParsedLink {
  /// The whole URL, encoded where it has to be.
  std::string url;
  /// Decoded, in the case that it was written in; none where the URL has none.
  std::optional<std::string> host;
  /// The first path segment, decoded.
  std::string slug;
  /// The last query item named "path", decoded; none where there is none.
  std::optional<std::string> path;
};

/// Reads a link, or gives none where the text is no URL, its host is of none of the domains, or it has no
/// usable slug.
///
/// The path is split at each "/"; empty segments are skipped and the first of the others is the slug, once
/// decoded. A slug that is "." or "..", holds "/" or "\", or is not UTF-8 is no slug. A "path" item that is
/// not UTF-8 counts as absent. "+" is no blank.
std::optional<ParsedLink> parseLinkURL(std::string_view text, const std::vector<std::string>& domains = {});

/// Whether the host belongs to one of the domains: equals it or is below it, whatever the case. With no
/// domains every host does, and no host too.
bool matchesLinkDomains(const std::optional<std::string>& host, const std::vector<std::string>& domains);

}  // namespace corvane
