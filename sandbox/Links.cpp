#include "Links.h"

#include <openssl/rand.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "RequestReading.h"

namespace corvane::sandbox {
namespace {

using nlohmann::json;

bool isSlug(const std::string& slug) {
  const bool allowed = std::all_of(slug.begin(), slug.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.' || c == '~';
  });
  return allowed && !slug.empty() && slug.size() <= 64 && slug != "." && slug != "..";
}

// The first segments of paths with another meaning.
bool isReserved(const std::string& slug) {
  return slug == "v1" || slug == "l" || slug == "sandbox" || slug == "favicon.ico" || slug == "robots.txt";
}

void requireScalars(const json& link, const char* name) {
  if (!link.contains(name)) return;
  for (const auto& [key, value] : link[name].items()) {
    if (value.is_structured()) throw Refusal(400, std::string(name) + "." + key + ": expected a scalar");
  }
}

}  // namespace

json readLink(const json& object) {
  const json link = readMembers(object,
                                {required("slug"),
                                 {"url"},
                                 {"deepLinkPath"},
                                 {"iosUrl"},
                                 {"androidUrl"},
                                 {"fallbackUrl"},
                                 {"campaign"},
                                 {"channel"},
                                 {"utm", anObject},
                                 {"customData", anObject}},
                                OtherMembers::refused);
  const std::string slug = link["slug"];
  if (!isSlug(slug)) throw Refusal(400, "slug: expected 1 to 64 of the characters A-Z a-z 0-9 - _ . ~");
  if (isReserved(slug)) throw Refusal(400, "slug: reserved for the sandbox");
  requireScalars(link, "utm");
  requireScalars(link, "customData");
  return link;
}

json linkAnswer(json link, const std::string& origin) {
  if (!link.contains("url")) link["url"] = origin + "/" + link.at("slug").get<std::string>();
  return link;
}

std::string clickText(const json& link, const std::string& origin, const std::string& token) {
  const std::string url = linkAnswer(link, origin).at("url");
  return url + (url.find('?') == std::string::npos ? "?" : "&") + "cv_click=" + token;
}

std::string makeToken() {
  unsigned char bytes[16];
  if (RAND_bytes(bytes, sizeof bytes) != 1) throw std::runtime_error("no random bytes");
  std::string token;
  for (const unsigned char byte : bytes) {
    token += "0123456789abcdef"[byte >> 4];
    token += "0123456789abcdef"[byte & 15];
  }
  return token;
}

bool isToken(const std::string& text) {
  return text.size() == 32 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

}  // namespace corvane::sandbox
