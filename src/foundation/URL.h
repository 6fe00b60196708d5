#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the API client needs of URLs (RFC 3986).
namespace corvane {

/// Whether the text is an absolute URL as it stands.
bool isURL(std::string_view text);

/// The URL's path as it is written, without query; empty when the text is not a URL.
std::string urlPath(std::string_view url);

using QueryItem = std::pair<std::string, std::string>;

/// The URL with `items` as its query, in their order, everything but RFC 3986's unreserved characters
/// encoded. No items give no query. None when the text is not a URL.
std::optional<std::string> urlWithQuery(std::string_view url, const std::vector<QueryItem>& items);

}  // namespace corvane
