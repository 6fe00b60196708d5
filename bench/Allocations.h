#pragma once

#include <cstddef>

namespace corvane::bench {

/// Returns the number of memory allocations of the calling thread so far.
std::size_t allocations();

}  // namespace corvane::bench
