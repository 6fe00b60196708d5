#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace corvane::sandbox {

/// The link in the form in which it is stored. Throws `Refusal` when it is invalid.
nlohmann::json readLink(const nlohmann::json& object);

/// A stored link as the endpoints return it. Without a `url` of its own, it gets this backend's.
nlohmann::json linkAnswer(nlohmann::json link, const std::string& origin);

/// The text that the landing page puts on the visitor's clipboard.
std::string clickText(const nlohmann::json& link, const std::string& origin, const std::string& token);

/// 32 random lower-case hexadecimal digits.
std::string makeToken();
bool isToken(const std::string& text);

}  // namespace corvane::sandbox
