// mimalloc. Its heaps belong to a thread each, so that the pool is the process's default one.

#include <mimalloc.h>

#include "platform/heap/shsmp.h"

void* MemAllocPtr(MemPool*, std::size_t size, std::uint32_t flags) {
  return (flags & kMemZeroFill) != 0 ? mi_zalloc(size) : mi_malloc(size);
}

void* MemAllocAligned(MemPool*, std::size_t size, std::size_t alignment, std::uint32_t) {
  return mi_malloc_aligned(size, alignment);
}

void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t) {
  return mi_realloc(block, size);
}

void MemFreePtr(void* block) {
  mi_free(block);
}
