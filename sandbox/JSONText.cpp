#include "JSONText.h"

#include <nlohmann/json.hpp>

namespace corvane::sandbox {

std::string asText(const nlohmann::json& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace corvane::sandbox
