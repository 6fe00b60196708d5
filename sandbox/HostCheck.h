#pragma once

#include <string>
#include <vector>

namespace corvane::sandbox {

/// Whether a Host header is safe from DNS rebinding: an IP address, `localhost`, a name without a dot, a
/// `.local` or
/// `.localhost` name, or one of `allowed`. Any other name may belong to a foreign web site whose owner points
/// it at this machine, so that a page of that site could read the sandbox's records.
bool isTrustedHost(const std::string& host, const std::vector<std::string>& allowed);

}  // namespace corvane::sandbox
