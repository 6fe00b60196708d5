#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "HTTPMessage.h"

namespace corvane::sandbox {

/// The live page.
Response livePage();

/// What a visitor sees who follows a campaign link: a button that puts `text` on the clipboard.
Response landingPage(const nlohmann::json& link, const std::string& text);

/// The style sheets and scripts of both. Throws `Refusal` for any other path.
Response pageAsset(const Request& request);

}  // namespace corvane::sandbox
