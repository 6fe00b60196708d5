#pragma once

#include <string>
#include <string_view>

namespace corvane::platform {

/// With the letters A to Z in lower case, in every locale: header names are compared like that.
std::string lowerCased(std::string_view text);

/// Without white space at both ends.
std::string_view trimmed(std::string_view text);

/// Whether it can be a header's name (RFC 9110, section 5.6.2).
bool isToken(std::string_view name);

/// A request that contains such a character would be another request on the connection.
bool containsLineBreakOrNUL(std::string_view text);

}  // namespace corvane::platform
