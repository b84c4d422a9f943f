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
constexpr std::size_t kHeaderSize = 64;

MemPool thePool;
std::atomic<std::int64_t> taken = 0;
std::atomic<std::int64_t> givenBack = 0;
bool isShort = false;

/// The mark and the size of a block lie right in front of it.
struct Header {
  std::uint64_t mark;
  std::uint64_t size;
};

Header& headerOf(void* block) {
  return static_cast<Header*>(block)[-1];
}

}  // namespace

extern "C" __attribute__((visibility("default"))) std::int64_t countingHeapTaken() {
  return taken;
}

extern "C" __attribute__((visibility("default"))) std::int64_t countingHeapLive() {
  return taken - givenBack;
}

/// How many of the module's four operators that do not throw answer null where there is no memory.
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
  auto* const start = static_cast<char*>(std::aligned_alloc(kHeaderSize, kHeaderSize + (size + 63) / 64 * 64));
  if (start == nullptr) return nullptr;
  std::memset(start, 0, kHeaderSize + size);
  void* const block = start + kHeaderSize;
  headerOf(block) = {kMark, size};
  ++taken;
  return block;
}

void* MemAllocAligned(MemPool* pool, std::size_t size, std::size_t alignment, std::uint32_t flags) {
  return alignment <= kHeaderSize ? MemAllocPtr(pool, size, flags) : nullptr;
}

void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t flags) {
  void* const moved = MemAllocPtr(&thePool, size, flags);
  if (moved == nullptr) return nullptr;
  const std::size_t before = headerOf(block).size;
  std::memcpy(moved, block, before < size ? before : size);
  MemFreePtr(block);
  return moved;
}

void MemFreePtr(void* block) {
  if (headerOf(block).mark != kMark) std::abort();  // A block of somebody else's, or given back twice.
  headerOf(block).mark = 0;
  ++givenBack;
  std::free(static_cast<char*>(block) - kHeaderSize);
}

std::int32_t _shi_enterCriticalSection() {
  return 1;
}

void _shi_leaveCriticalSection() {}
