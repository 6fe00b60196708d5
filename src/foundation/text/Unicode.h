#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// The UTF-8 text without the white space and line breaks at both ends: general category Z, U+0009 to U+000D
/// and U+0085. Bytes that are not UTF-8 are not white space.
std::string_view trimmed(std::string_view text);

bool isValidUTF8(std::string_view bytes);

/// Removes the bytes at the end that begin a character of UTF-8 and do not complete it.
void removeIncompleteCharacter(std::string& bytes);

/// The UTF-8 text in upper or lower case by Unicode's full mapping ("straße" gives "STRASSE"), the same in
/// every locale. Bytes that are not UTF-8 come back as they are.
std::string uppercased(std::string_view text);
std::string lowercased(std::string_view text);

}  // namespace corvane
