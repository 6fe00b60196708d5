#pragma once

#include <cstddef>

namespace corvane::bench {

/// How often the calling thread has allocated memory so far.
std::size_t allocations();

}  // namespace corvane::bench
