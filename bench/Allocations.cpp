#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t count = 0;

}  // namespace

// The program's own, so that what the library allocates on the calling thread is counted.
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
