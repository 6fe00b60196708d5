#include "api/transport/HeaderText.h"

namespace corvane::platform {

std::string lowerCased(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view whiteSpace = " \t\r\n\v\f";
  const auto first = text.find_first_not_of(whiteSpace);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(whiteSpace) + 1 - first);
}

bool isToken(std::string_view name) {
  constexpr std::string_view tokenCharacters =
      "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  return !name.empty() && name.find_first_not_of(tokenCharacters) == std::string_view::npos;
}

bool containsLineBreakOrNUL(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

}  // namespace corvane::platform
