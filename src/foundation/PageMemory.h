#pragma once

#include <cstddef>
#include <memory_resource>

namespace corvane {

/// Memory in pages of its own, which the system gets back when it is freed. What `malloc` has freed it may
/// keep for ever, because a few small blocks that are in use hold the pages around them. For large blocks,
/// and below a pool.
class PageMemory final : public std::pmr::memory_resource {
 private:
  void* do_allocate(std::size_t size, std::size_t alignment) override;
  void do_deallocate(void* memory, std::size_t size, std::size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override;
};

}  // namespace corvane
