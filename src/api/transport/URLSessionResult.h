#pragma once

#include <string>
#include <variant>

#include "api/HTTPResponse.h"

namespace corvane::platform {

/// The result of an exchange: the response, or a description of the failure.
using URLSessionResult = std::variant<HTTPResponse, std::string>;

}  // namespace corvane::platform
