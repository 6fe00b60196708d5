#include "foundation/text/URL.h"

#include <boost/url/decode_view.hpp>
#include <boost/url/encode.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>
#include <boost/url/url.hpp>

#include "foundation/text/URLEncoding.h"
#include "foundation/text/Unicode.h"

namespace corvane {

namespace urls = boost::urls;

namespace {

/// The parser takes what follows "host:" for the path when it is no number. RFC 3986 does not: with an
/// authority the path is empty or begins with "/".
std::optional<urls::url_view> parse(std::string_view text) {
  const auto parsed = urls::parse_uri(text);
  if (!parsed) return std::nullopt;
  const bool cut = parsed->has_authority() && !parsed->encoded_path().empty() && !parsed->is_path_absolute();
  return cut ? std::nullopt : std::optional(*parsed);
}

}  // namespace

bool isURL(std::string_view text) {
  return parse(text).has_value();
}

std::string urlPath(std::string_view url) {
  const auto parsed = parse(url);
  return parsed ? std::string(parsed->encoded_path()) : std::string();
}

std::optional<std::string> urlWithQuery(std::string_view url, const std::vector<QueryItem>& items) {
  const auto parsed = parse(url);
  if (!parsed) return std::nullopt;
  std::string query;
  for (const auto& [name, value] : items) {
    if (!query.empty()) query += '&';
    query += urls::encode(name, urls::unreserved_chars) + '=' + urls::encode(value, urls::unreserved_chars);
  }
  urls::url result(*parsed);
  if (items.empty()) {
    result.remove_query();
  } else {
    result.set_encoded_query(query);
  }
  return std::string(result.buffer());
}

std::optional<OutsideURL> readOutsideURL(std::string_view text) {
  if (text.size() > maximumURLSize || !isValidUTF8(text)) return std::nullopt;
  const std::string_view bare = trimmed(text);
  std::string whole(bare);
  auto parsed = parse(whole);
  if (!parsed) {
    whole = percentEncodedWhereNeeded(bare);
    parsed = parse(whole);
  }
  if (!parsed) return std::nullopt;
  std::optional<std::string> host;
  if (!parsed->encoded_host().empty()) host = parsed->host_address();
  if (host && !isValidUTF8(*host)) return std::nullopt;
  const std::string_view path = parsed->encoded_path(), query = parsed->encoded_query();
  const auto placeOf = [&](std::string_view part) {
    return part.empty() ? 0 : static_cast<std::size_t>(part.data() - whole.data());
  };
  OutsideURL url;
  url.pathBegin = placeOf(path);
  url.pathSize = path.size();
  url.queryBegin = placeOf(query);
  url.querySize = query.size();
  url.host = std::move(host);
  url.text = std::move(whole);
  return url;
}

std::string percentDecoded(std::string_view encoded) {
  const urls::decode_view decoded(encoded);
  return std::string(decoded.begin(), decoded.end());
}

}  // namespace corvane
