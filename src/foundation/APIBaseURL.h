#pragma once

#include <string>

namespace corvane {

/// The backend's origin without a trailing slash. A constant of each library target, in a translation unit of
/// its own so that a program can be linked with another.
std::string defaultAPIBaseURL();

}  // namespace corvane
