#include "bench/allocationCount.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

// The benchmarks run on one thread.
bench::AllocationCount count;

void* allocate(std::size_t size) {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  ++count.allocations;
  count.liveBytes += static_cast<std::int64_t>(malloc_usable_size(block));
  count.peakBytes = std::max(count.peakBytes, count.liveBytes);
  return block;
}

void release(void* block) {
  if (block != nullptr) count.liveBytes -= static_cast<std::int64_t>(malloc_usable_size(block));
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}

namespace bench {

AllocationCount allocationCount() {
  return count;
}

void resetPeak() {
  count.peakBytes = count.liveBytes;
}

}  // namespace bench
