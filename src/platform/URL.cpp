#include "foundation/URL.h"

#include <boost/url/encode.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>
#include <boost/url/url.hpp>

namespace corvane {

namespace urls = boost::urls;

bool isURL(std::string_view text) {
  return urls::parse_uri(text).has_value();
}

std::string urlPath(std::string_view url) {
  const auto parsed = urls::parse_uri(url);
  return parsed ? std::string(parsed->encoded_path()) : std::string();
}

std::optional<std::string> urlWithQuery(std::string_view url, const std::vector<QueryItem>& items) {
  const auto parsed = urls::parse_uri(url);
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

}  // namespace corvane
