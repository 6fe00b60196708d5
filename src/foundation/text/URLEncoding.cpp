#include "foundation/text/URLEncoding.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace corvane {
namespace {

constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexDigits = "0123456789ABCDEFabcdef";

/// Letters, digits and some others.
class Characters {
 public:
  constexpr explicit Characters(std::string_view others) {
    for (const std::string_view some : {letters, digits, others}) add(some);
  }

  constexpr bool contain(char character) const { return in_[static_cast<unsigned char>(character)]; }

 private:
  constexpr void add(std::string_view characters) {
    for (const char character : characters) in_[static_cast<unsigned char>(character)] = true;
  }

  std::array<bool, 256> in_{};
};

// RFC 3986, section 3 and appendix A.
constexpr Characters schemeCharacters("+-.");
constexpr Characters authorityCharacters("-._~!$&'()*+,;=:");
constexpr Characters pathCharacters("-._~!$&'()*+,;=:@/");
constexpr Characters queryCharacters("-._~!$&'()*+,;=:@/?");

void append(std::string& result, std::string_view part, const Characters& allowed) {
  const auto isHex = [&](std::size_t at) {
    return at < part.size() && hexDigits.find(part[at]) != std::string_view::npos;
  };
  for (std::size_t at = 0; at < part.size(); ++at) {
    const char character = part[at];
    if (allowed.contain(character) || (character == '%' && isHex(at + 1) && isHex(at + 2))) {
      result += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      result += {'%', hexDigits[byte >> 4], hexDigits[byte & 15]};
    }
  }
}

void appendAuthority(std::string& result, std::string_view authority) {
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) {
    append(result, authority.substr(0, at), authorityCharacters);
    result += '@';
    authority.remove_prefix(at + 1);
  }
  // An IP address in brackets is the one place for brackets.
  if (const auto end = authority.find(']'); authority.starts_with('[') && end != std::string_view::npos) {
    result += authority.substr(0, end + 1);
    authority.remove_prefix(end + 1);
  }
  append(result, authority, authorityCharacters);
}

/// The part of `text` before the first of `ends`, which is removed from it.
std::string_view takeUntil(std::string_view& text, std::string_view ends) {
  const std::string_view taken = text.substr(0, text.find_first_of(ends));
  text.remove_prefix(taken.size());
  return taken;
}

bool isScheme(std::string_view text) {
  return !text.empty() && letters.find(text.front()) != std::string_view::npos &&
         std::all_of(text.begin(), text.end(), [](char c) { return schemeCharacters.contain(c); });
}

}  // namespace

std::string percentEncodedWhereNeeded(std::string_view text) {
  std::string_view rest = text;
  const std::string_view scheme = takeUntil(rest, ":/?#");
  if (!rest.starts_with(':') || !isScheme(scheme)) return {};
  rest.remove_prefix(1);

  std::string result(scheme);
  result += ':';
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    result += "//";
    appendAuthority(result, takeUntil(rest, "/?#"));
  }
  append(result, takeUntil(rest, "?#"), pathCharacters);
  if (rest.starts_with('?')) {
    rest.remove_prefix(1);
    result += '?';
    append(result, takeUntil(rest, "#"), queryCharacters);
  }
  if (rest.starts_with('#')) {
    result += '#';
    append(result, rest.substr(1), queryCharacters);
  }
  return result;
}

}  // namespace corvane
