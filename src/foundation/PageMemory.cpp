#include "foundation/PageMemory.h"

#include <sys/mman.h>

#include <new>

namespace corvane {

void* PageMemory::do_allocate(std::size_t size, std::size_t) {
  void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return memory;
}

void PageMemory::do_deallocate(void* memory, std::size_t size, std::size_t) {
  ::munmap(memory, size);
}

bool PageMemory::do_is_equal(const std::pmr::memory_resource& other) const noexcept {
  return dynamic_cast<const PageMemory*>(&other) != nullptr;
}

}  // namespace corvane
