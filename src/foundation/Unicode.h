#pragma once

#include <string_view>

namespace corvane {

/// The UTF-8 text without the white space and line breaks at both ends: general category Z, U+0009 to U+000D
/// and U+0085. Bytes that are not UTF-8 are not white space.
std::string_view trimmed(std::string_view text);

bool isValidUTF8(std::string_view bytes);

}  // namespace corvane
