#include "bench/allocationCount.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace {

// The benchmarks run on one thread.
bench::AllocationCount count;

void* taken(void* block) {
  if (block == nullptr) return nullptr;
  ++count.allocations;
  count.liveBytes += static_cast<std::int64_t>(malloc_usable_size(block));
  count.peakBytes = std::max(count.peakBytes, count.liveBytes);
  return block;
}

void givenBack(void* block) {
  if (block != nullptr) count.liveBytes -= static_cast<std::int64_t>(malloc_usable_size(block));
}

}  // namespace

// The allocation functions of the C library, in front of which the ones below stand.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t elements, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

// The module and the libraries find these in the program.
#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) {
  return taken(__libc_malloc(size));
}

void* calloc(std::size_t elements, std::size_t size) {
  return taken(__libc_calloc(elements, size));
}

void* realloc(void* block, std::size_t size) {
  const std::size_t before = block == nullptr ? 0 : malloc_usable_size(block);
  void* const moved = __libc_realloc(block, size);
  if (moved != nullptr || size == 0) count.liveBytes -= static_cast<std::int64_t>(before);
  return taken(moved);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return taken(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const found = memalign(alignment, size);
  if (found == nullptr) return ENOMEM;
  *block = found;
  return 0;
}

void free(void* block) {
  givenBack(block);
  __libc_free(block);
}

}  // extern "C"
#pragma GCC visibility pop

namespace bench {

AllocationCount allocationCount() {
  return count;
}

void resetPeak() {
  count.peakBytes = count.liveBytes;
}

}  // namespace bench
