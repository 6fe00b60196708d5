#include "foundation/text/Unicode.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>

// ICU's macros convert without saying so.
#pragma GCC diagnostic ignored "-Wconversion"

namespace corvane {
namespace {

bool isASCII(std::string_view text) {
  unsigned all = 0;
  for (const char character : text) all |= static_cast<unsigned char>(character);
  return all < 0x80;
}

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
  // ICU counts in 32 bits.
  while (end > 0 && end <= INT32_MAX) {
    auto previous = static_cast<std::int32_t>(end);
    UChar32 character;
    U8_PREV(text.data(), 0, previous, character);
    if (!isWhiteSpaceOrNewline(character)) break;
    end = static_cast<std::size_t>(previous);
  }
  return end;
}

using CaseMapping = void (*)(const char* locale, std::uint32_t options, icu::StringPiece text,
                             icu::ByteSink& sink, icu::Edits* edits, UErrorCode& error);

char toUpperASCII(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

char toLowerASCII(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

std::string mapped(std::string_view text, char (*mapASCII)(char), CaseMapping map) {
  std::string result(text);
  if (isASCII(text)) {
    std::transform(text.begin(), text.end(), result.begin(), mapASCII);
    return result;
  }
  if (!isValidUTF8(text)) return result;
  std::string converted;
  icu::StringByteSink<std::string> sink(&converted);
  UErrorCode error = U_ZERO_ERROR;
  map("", 0, icu::StringPiece(text), sink, nullptr, error);
  return U_SUCCESS(error) ? converted : result;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(leadingWhiteSpace(text));
  return text.substr(0, withoutTrailingWhiteSpace(text));
}

bool isValidUTF8(std::string_view bytes) {
  if (isASCII(bytes)) return true;
  for (std::size_t at = 0; at < bytes.size();) {
    UChar32 character;
    U8_NEXT(bytes.data(), at, bytes.size(), character);
    if (character < 0) return false;
  }
  return true;
}

void removeIncompleteCharacter(std::string& bytes) {
  std::size_t length = bytes.size();
  U8_TRUNCATE_IF_INCOMPLETE(bytes.data(), 0, length);
  bytes.resize(length);
}

std::string uppercased(std::string_view text) {
  return mapped(text, toUpperASCII, &icu::CaseMap::utf8ToUpper);
}

std::string lowercased(std::string_view text) {
  return mapped(text, toLowerASCII, &icu::CaseMap::utf8ToLower);
}

}  // namespace corvane
