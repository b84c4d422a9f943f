// The heap of mimalloc. The pool is its default heap, never one of mi_heap_new(): those belong to the thread that made
// them, and the module frees blocks on any thread (docs/decisions.md, "mimalloc serves the pool from its default
// heap").

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
