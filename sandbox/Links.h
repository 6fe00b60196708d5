#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace corvane::sandbox {

/// The link's members to be kept; refuses (see RequestReading.h) what no link can be.
nlohmann::json readLink(const nlohmann::json& object);

/// A kept link as the endpoints answer it. Its `url` is this backend's own unless it was given one.
nlohmann::json linkAnswer(nlohmann::json link, const std::string& origin);

/// What a visitor's pasteboard gets from the landing page.
std::string clickText(const nlohmann::json& link, const std::string& origin, const std::string& token);

/// 32 random lower-case hexadecimal digits.
std::string makeToken();
bool isToken(const std::string& text);

}  // namespace corvane::sandbox
