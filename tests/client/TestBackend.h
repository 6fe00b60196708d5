#pragma once

#include <string>

namespace corvane::test {

/// The base URL of clients that are configured from now on, in place of the library's constant.
void useBackend(std::string baseURL);

}  // namespace corvane::test
