// A heap for a module of the tests, linked in the place of the others: it counts its blocks and knows them again, and
// can be short of memory.

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "platform/heap/shsmp.h"

struct MemPool {};

namespace {

constexpr std::uint64_t kMark = 0x6B32722D68656170;

MemPool thePool;
std::atomic<std::int64_t> taken = 0;
std::atomic<std::int64_t> givenBack = 0;
bool isShort = false;

/// Lies in front of a block, which it aligns.
struct alignas(64) Header {
  std::uint64_t mark;
  std::uint64_t size;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) std::int64_t countingHeapTaken() {
  return taken;
}

extern "C" __attribute__((visibility("default"))) std::int64_t countingHeapLive() {
  return taken - givenBack;
}

/// How many of the module's four operators that do not throw return null where there is no memory.
extern "C" __attribute__((visibility("default"))) int countingHeapNullsWhileShort() {
  constexpr std::align_val_t kAlignment{32};
  isShort = true;
  const void* const answers[] = {::operator new(8, std::nothrow), ::operator new[](8, std::nothrow),
                                 ::operator new(8, kAlignment, std::nothrow),
                                 ::operator new[](8, kAlignment, std::nothrow)};
  isShort = false;
  return static_cast<int>(std::count(std::begin(answers), std::end(answers), nullptr));
}

MemPool* MemPoolInit(std::uint32_t) {
  return &thePool;
}

std::int32_t MemPoolFree(MemPool*) {
  return 1;
}

std::uint32_t MemPoolSetPageSize(MemPool*, std::uint32_t) {
  return 0;
}

std::uint16_t MemPoolSetBlockSizeFS(MemPool*, std::uint16_t) {
  return 0;
}

void* MemAllocPtr(MemPool*, std::size_t size, std::uint32_t) {
  if (isShort) return nullptr;
  auto* const header =
      static_cast<Header*>(std::aligned_alloc(alignof(Header), sizeof(Header) + (size + 63) / 64 * 64));
  if (header == nullptr) return nullptr;
  std::memset(header + 1, 0, size);
  *header = {kMark, size};
  ++taken;
  return header + 1;
}

void* MemAllocAligned(MemPool* pool, std::size_t size, std::size_t alignment, std::uint32_t flags) {
  return alignment <= alignof(Header) ? MemAllocPtr(pool, size, flags) : nullptr;
}

void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t flags) {
  void* const moved = MemAllocPtr(&thePool, size, flags);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, block, std::min<std::size_t>(static_cast<Header*>(block)[-1].size, size));
  MemFreePtr(block);
  return moved;
}

void MemFreePtr(void* block) {
  auto* const header = static_cast<Header*>(block) - 1;
  if (header->mark != kMark) std::abort();  // A block of somebody else's, or given back twice.
  header->mark = 0;
  ++givenBack;
  std::free(header);
}

std::int32_t _shi_enterCriticalSection() {
  return 1;
}

void _shi_leaveCriticalSection() {}
