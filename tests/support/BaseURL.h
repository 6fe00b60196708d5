#pragma once

#include <string>

namespace corvane::test {

/// Sets the base URL of the clients that this program builds from now on. Before any of them is built.
void setBaseURL(std::string url);

}  // namespace corvane::test
