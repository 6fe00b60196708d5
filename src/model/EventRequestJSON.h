#pragma once

#include "model/JSONReader.h"
#include "model/JSONWriter.h"
#include "model/Requests.h"

namespace corvane {

/// Throws `EncodingFailure` where the value is not finite.
json::Value toJSON(const EventRequest& request);
/// Throws `DecodingFailure`.
EventRequest readEventRequest(const json::Node::Object& object);

}  // namespace corvane
