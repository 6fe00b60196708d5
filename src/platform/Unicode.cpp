#include "foundation/Unicode.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

// ICU's macros convert without saying so.
#pragma GCC diagnostic ignored "-Wconversion"

namespace corvane {
namespace {

bool isWhiteSpaceOrNewline(UChar32 character) {
  return character >= 0 && ((U_GET_GC_MASK(character) & U_GC_Z_MASK) != 0 ||
                            (character >= 0x09 && character <= 0x0D) || character == 0x85);
}

std::size_t leadingWhiteSpace(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t next = at;
    UChar32 character;
    U8_NEXT(text.data(), next, text.size(), character);
    if (!isWhiteSpaceOrNewline(character)) break;
    at = next;
  }
  return at;
}

std::size_t withoutTrailingWhiteSpace(std::string_view text) {
  std::size_t end = text.size();
  while (end > 0) {
    auto previous = static_cast<std::int32_t>(end);
    UChar32 character;
    U8_PREV(text.data(), 0, previous, character);
    if (!isWhiteSpaceOrNewline(character)) break;
    end = static_cast<std::size_t>(previous);
  }
  return end;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(leadingWhiteSpace(text));
  return text.substr(0, withoutTrailingWhiteSpace(text));
}

bool isValidUTF8(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    UChar32 character;
    U8_NEXT(bytes.data(), at, bytes.size(), character);
    if (character < 0) return false;
  }
  return true;
}

}  // namespace corvane
