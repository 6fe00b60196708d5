#include "api/transport/TransportRedirect.h"

#include <curl/curl.h>
#include <strings.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace corvane::platform {

namespace {

struct FreeURL {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct FreeText {
  void operator()(char* text) const { curl_free(text); }
};
using URL = std::unique_ptr<CURLU, FreeURL>;

bool equalIgnoringCase(const std::string& a, const char* b) {
  return strcasecmp(a.c_str(), b) == 0;
}

std::string part(const URL& url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, FreeText> owner(text);
  return text;
}

struct Origin {
  explicit Origin(const URL& url)
      : scheme(part(url, CURLUPART_SCHEME)),
        host(part(url, CURLUPART_HOST)),
        port(part(url, CURLUPART_PORT, CURLU_DEFAULT_PORT)) {}

  bool operator==(const Origin& other) const {
    return scheme == other.scheme && equalIgnoringCase(host, other.host.c_str()) && port == other.port;
  }

  std::string scheme;
  std::string host;
  std::string port;
};

/// RFC 9110, section 15.4: after the other statuses a POST may continue as GET, which delivers nothing.
bool keepsMethod(int status) {
  return status == 307 || status == 308;
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || keepsMethod(status);
}

bool mayLeaveOrigin(const std::string& header) {
  return equalIgnoringCase(header, "Accept") || equalIgnoringCase(header, "Content-Type");
}

/// A GET may leave its origin; a POST contains identifiers.
bool allowed(const std::string& method, const Origin& from, const Origin& to) {
  if (method != "GET") return to == from;
  return to.scheme == "https" || (to.scheme == "http" && from.scheme == "http");
}

}  // namespace

std::optional<URLRequest> redirectedRequest(const URLRequest& request, const HTTPResponse& response) {
  const bool follows =
      request.method == "GET" ? isRedirect(response.statusCode) : keepsMethod(response.statusCode);
  const auto location = response.headers.find("location");
  if (!follows || location == response.headers.end() || location->second.empty()) return {};

  const URL url(curl_url());
  if (!url || curl_url_set(url.get(), CURLUPART_URL, request.url.c_str(), 0) != CURLUE_OK) return {};
  const Origin from(url);
  if (curl_url_set(url.get(), CURLUPART_URL, location->second.c_str(), CURLU_URLENCODE) != CURLUE_OK)
    return {};
  // A server must not choose the credentials that the client sends.
  curl_url_set(url.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(url.get(), CURLUPART_PASSWORD, nullptr, 0);
  const Origin to(url);
  if (!allowed(request.method, from, to)) return {};

  URLRequest next = request;
  next.url = part(url, CURLUPART_URL);
  if (next.url.empty()) return {};
  if (to != from) {
    std::erase_if(next.headers, [](const auto& header) { return !mayLeaveOrigin(header.first); });
  }
  return next;
}

}  // namespace corvane::platform
