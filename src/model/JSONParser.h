#pragma once

#include <string_view>

#include "model/JSONReader.h"

namespace corvane::json {

/// What the outermost value is meant to be.
enum class Root { object, array };

/// The value that the bytes hold. What `parseObject` says applies. The elements of an array that is not meant
/// are not kept.
Node parse(std::string_view bytes, Root root);

}  // namespace corvane::json
