#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace corvane::sandbox {

/// Compact JSON. Bytes that are not UTF-8 become U+FFFD, because headers and queries may hold any.
inline std::string asText(const nlohmann::json& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace corvane::sandbox
