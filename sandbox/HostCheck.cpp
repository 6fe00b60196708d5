#include "HostCheck.h"

#include <arpa/inet.h>

#include <algorithm>

#include "LowerCased.h"

namespace corvane::sandbox {
namespace {

std::string withoutPort(const std::string& host) {
  if (host.starts_with('[')) return host.substr(1, host.find(']') - 1);
  return host.substr(0, host.find(':'));
}

bool isAddress(const std::string& name) {
  in6_addr address;
  return inet_pton(AF_INET, name.c_str(), &address) == 1 || inet_pton(AF_INET6, name.c_str(), &address) == 1;
}

}  // namespace

bool isTrustedHost(const std::string& host, const std::vector<std::string>& allowed) {
  const std::string name = lowerCased(withoutPort(host));
  const auto isIt = [&name](const std::string& other) { return lowerCased(other) == name; };
  if (std::any_of(allowed.begin(), allowed.end(), isIt)) return true;
  return isAddress(name) || name.find('.') == std::string::npos || name.ends_with(".local") ||
         name.ends_with(".localhost");
}

}  // namespace corvane::sandbox
