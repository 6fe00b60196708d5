#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace corvane::sandbox {

/// Compact JSON. Bytes that are not UTF-8 become U+FFFD, because headers and queries may hold any.
std::string asText(const nlohmann::json& value);

}  // namespace corvane::sandbox
