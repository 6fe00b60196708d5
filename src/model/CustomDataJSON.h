#pragma once

#include "model/CustomData.h"
#include "model/JSONReader.h"

namespace corvane {

/// Reads an object of scalars. One member that is an object or an array makes the whole fail.
CustomData readCustomData(const json::Node::Object& object);

}  // namespace corvane
