#pragma once

#include "model/JSON.h"
#include "model/Requests.h"

namespace corvane {

/// Throws `EncodingFailure` where the value is not finite.
json::Value toJSON(const EventRequest& request);
/// Throws `DecodingFailure`.
EventRequest readEventRequest(const json::Value& object);

}  // namespace corvane
