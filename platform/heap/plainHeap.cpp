// The heap of the C library.

#include <algorithm>
#include <cstdlib>

#include "platform/heap/shsmp.h"

void* MemAllocPtr(MemPool*, std::size_t size, std::uint32_t flags) {
  return (flags & kMemZeroFill) != 0 ? std::calloc(1, size) : std::malloc(size);
}

void* MemAllocAligned(MemPool*, std::size_t size, std::size_t alignment, std::uint32_t) {
  void* block = nullptr;
  // posix_memalign() demands at least the alignment of a pointer; its blocks may be freed by free(), as all others are.
  return ::posix_memalign(&block, std::max(alignment, sizeof(void*)), size) == 0 ? block : nullptr;
}

void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t) {
  return std::realloc(block, size);
}

void MemFreePtr(void* block) {
  std::free(block);
}
