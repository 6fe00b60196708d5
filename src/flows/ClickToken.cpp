#include "flows/ClickToken.h"

#include <algorithm>

#include "foundation/StoreKeys.h"

namespace corvane {
namespace {

constexpr std::string_view tokenMarker = "cv_click=";
constexpr std::size_t tokenLength = 32;

bool isTokenDigit(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

}  // namespace

std::optional<std::string> findClickToken(std::string_view text) {
  for (auto at = text.find(tokenMarker); at != text.npos;
       at = text.find(tokenMarker, at + tokenMarker.size())) {
    const std::string_view token = text.substr(at + tokenMarker.size(), tokenLength);
    if (token.size() == tokenLength && std::ranges::all_of(token, isTokenDigit)) return std::string(token);
  }
  return std::nullopt;
}

std::optional<std::string> ClickToken::automaticClickToken() const {
  if (source != CorvaneClickTokenSource::automatic) return std::nullopt;
  if (flagStore->boolForKey(keys::deferredRouted)) return std::nullopt;
  const auto text = pasteboard->string();
  return text ? extractClickToken(*text) : std::nullopt;
}

std::optional<std::string> ClickToken::handedInClickToken(std::string_view text) const {
  if (source != CorvaneClickTokenSource::none) return extractClickToken(text);
  logger.info(
      [] { return "clickTokenSource is .none — ignoring the pasted token; install stays probabilistic"; });
  return std::nullopt;
}

/// A token empties the pasteboard, also where the host handed the text in: it is used once.
std::optional<std::string> ClickToken::extractClickToken(std::string_view text) const {
  auto token = findClickToken(text);
  if (token) {
    pasteboard->clear();
    logger.debug([] { return "Deferred click token read; pasteboard cleared"; });
  }
  return token;
}

}  // namespace corvane
