#pragma once

#include <string>
#include <string_view>

namespace corvane::sandbox {

/// With the letters A to Z in lower case, whatever the locale: HTTP's names are compared so.
inline std::string lowerCased(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return result;
}

}  // namespace corvane::sandbox
