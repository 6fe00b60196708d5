#pragma once

#include <string>
#include <variant>

#include "api/HTTPResponse.h"

namespace corvane::platform {

/// How an exchange ended: the response, or the description of why there is none.
using URLSessionResult = std::variant<HTTPResponse, std::string>;

}  // namespace corvane::platform
