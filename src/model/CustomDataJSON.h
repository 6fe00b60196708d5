#pragma once

#include "model/CustomData.h"
#include "model/JSON.h"

namespace corvane {

/// Reads an object of scalars; `null` is an empty map. One member that is an object or an array makes the
/// whole fail.
CustomData readCustomData(const json::Value& value);

}  // namespace corvane
