#pragma once

#include <string>

namespace corvane::demo {

/// Names the backend's origin, without a trailing slash. Call it before `Corvane::configure`.
void setBackendAddress(std::string origin);

}  // namespace corvane::demo
