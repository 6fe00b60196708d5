#pragma once

#include <string>
#include <vector>

namespace corvane::sandbox {

/// Whether a Host header names this machine in a way that no stranger's web page can arrange: an IP address,
/// `localhost`, a name without a dot, a `.local` or `.localhost` name, or one of `allowed`. Any other name
/// could be a public one that was pointed at this machine so that a web page may read what the sandbox holds.
bool isTrustedHost(const std::string& host, const std::vector<std::string>& allowed);

}  // namespace corvane::sandbox
