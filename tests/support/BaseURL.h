#pragma once

#include <string>

namespace corvane::test {

/// Sets the base URL of the clients that are created after this call. Not thread-safe.
void setBaseURL(std::string url);

}  // namespace corvane::test
