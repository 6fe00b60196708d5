#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t count = 0;

}  // namespace

// Replaces the global operators, so that the library's allocations on the calling thread are counted.
void* operator new(std::size_t size) {
  ++count;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

std::size_t corvane::bench::allocations() {
  return count;
}
