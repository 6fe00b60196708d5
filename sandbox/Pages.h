#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "HTTPMessage.h"

namespace corvane::sandbox {

/// The live page.
Response livePage();

/// The page of a campaign link. Its button copies `text` to the clipboard.
Response landingPage(const nlohmann::json& link, const std::string& text);

/// The style sheet and the scripts of both pages. Throws `Refusal` for any other path.
Response pageAsset(const Request& request);

}  // namespace corvane::sandbox
