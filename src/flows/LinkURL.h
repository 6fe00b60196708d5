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

/// Reads a link; none where the text is not a URL, its host matches no domain, or it has no usable slug.
///
/// The path is split at each "/"; empty segments and those that are "%2F" alone are skipped, and the first of
/// the others is the slug, once decoded. A slug that is "." or "..", holds "/" or "\", or is not UTF-8 is not
/// usable. A "path" item that is not UTF-8 counts as absent. "+" is not decoded to a blank.
std::optional<ParsedLink> parseLinkURL(std::string_view text, const std::vector<std::string>& domains = {});

/// Whether the host equals one of the domains or is below one, regardless of case. Without domains every host
/// matches, a missing one too.
bool matchesLinkDomains(const std::optional<std::string>& host, const std::vector<std::string>& domains);

}  // namespace corvane
