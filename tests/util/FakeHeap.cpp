#include "tests/util/FakeHeap.h"

#include <cstdlib>
#include <new>
#include <sstream>
#include <utility>

#include "platform/heap/shsmp.h"

test::FakeHeap test::fakeHeap;

namespace {

using test::fakeHeap;

template <typename... Numbers>
void note(const char* call, Numbers... numbers) {
  if (!fakeHeap.notes) return;
  std::ostringstream text;
  text << std::hex << (fakeHeap.calls.empty() ? "" : " ") << call << '(';
  [[maybe_unused]] const char* separator = "";
  ((text << std::exchange(separator, ",") << numbers), ...);
  fakeHeap.calls += text.str() + ')';
}

bool fails(int& failing) {
  return failing > 0 && failing-- > 0;
}

char poolMemory;
MemPool* const thePool = reinterpret_cast<MemPool*>(&poolMemory);

void* blockOf(std::size_t size) {
  return fails(fakeHeap.failingAllocations) ? nullptr : std::calloc(1, size);
}

}  // namespace

MemPool* MemPoolInit(std::uint32_t flags) {
  note("init", flags);
  return fails(fakeHeap.failingInits) ? nullptr : thePool;
}

std::int32_t MemPoolFree(MemPool*) {
  note(fakeHeap.locked == 0 ? "free" : "free under lock");
  return 1;
}

std::uint32_t MemPoolSetPageSize(MemPool*, std::uint32_t size) {
  note("pageSize", size);
  return 0;
}

std::uint16_t MemPoolSetBlockSizeFS(MemPool*, std::uint16_t size) {
  note("blockSize", size);
  return 0;
}

void* MemAllocPtr(MemPool* pool, std::size_t size, std::uint32_t flags) {
  note(pool == thePool ? "alloc" : "allocElsewhere", size, flags);
  return blockOf(size);
}

void* MemAllocAligned(MemPool*, std::size_t size, std::size_t alignment, std::uint32_t flags) {
  note("aligned", size, alignment, flags);
  return blockOf(size);
}

void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t flags) {
  note("realloc", size, flags);
  return fails(fakeHeap.failingAllocations) ? nullptr : std::realloc(block, size);
}

void MemFreePtr(void* block) {
  note("freeBlock");
  std::free(block);
}

std::int32_t _shi_enterCriticalSection() {
  if (fails(fakeHeap.failingLocks)) return 0;
  ++fakeHeap.locked;
  return 1;
}

void _shi_leaveCriticalSection() {
  --fakeHeap.locked;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept try {
  return fails(fakeHeap.failingBuffers) ? nullptr : ::operator new[](size);
} catch (const std::bad_alloc&) {
  return nullptr;
}
