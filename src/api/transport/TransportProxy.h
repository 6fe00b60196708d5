#pragma once

#include <string>

namespace corvane::platform {

/// Hosts that are reached without a proxy, in libcurl's form: loopback by address and by name. libcurl takes
/// a name for all names below it too.
inline constexpr const char* hostsWithoutProxy = "localhost,127.0.0.0/8,::1";

/// Whether the text is a URL with a host and a scheme of a proxy: http, https, socks4, socks4a, socks5 or
/// socks5h. libcurl itself takes nearly every text for a host, and repeats it, password included, in the
/// description of a failure.
bool isProxyURL(const std::string& text);

}  // namespace corvane::platform
