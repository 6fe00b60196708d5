#pragma once

#include <string>

namespace corvane {

/// A random (version 4) UUID of the system's randomness, as 36 characters with upper-case digits.
std::string randomUUIDText();

}  // namespace corvane
