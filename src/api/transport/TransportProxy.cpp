#include "api/transport/TransportProxy.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

namespace corvane::platform {

bool isProxyURL(const std::string& text) {
  constexpr std::array<std::string_view, 6> schemes = {"http",    "https",  "socks4",
                                                       "socks4a", "socks5", "socks5h"};
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), curl_url_cleanup);
  if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK)
    return false;
  char* scheme = nullptr;
  if (curl_url_get(url.get(), CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) return false;
  const std::unique_ptr<char, decltype(&curl_free)> owner(scheme, curl_free);
  return std::ranges::find(schemes, scheme) != schemes.end();
}

}  // namespace corvane::platform
