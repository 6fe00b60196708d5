#pragma once

#include <string_view>

#include "model/JSONReader.h"

namespace corvane::json {

/// The value that the bytes hold. What `parseObject` says applies.
Node parse(std::string_view bytes);

}  // namespace corvane::json
