#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// The text with everything percent-encoded that RFC 3986 does not allow where it stands, as a text with a
/// scheme is divided by the RFC's appendix B: authority, path, query, fragment. Empty for a text without
/// scheme. Whether the result is a URL is left to a parser: a port that is no number stays one.
std::string percentEncodedWhereNeeded(std::string_view text);

}  // namespace corvane
