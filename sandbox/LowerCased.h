#pragma once

#include <string>
#include <string_view>

namespace corvane::sandbox {

/// The text with A to Z in lower case, in any locale: HTTP compares names this way.
inline std::string lowerCased(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return result;
}

}  // namespace corvane::sandbox
