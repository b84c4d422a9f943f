#include "tests/util/FakeHeap.h"

#include <cstdlib>
#include <initializer_list>
#include <sstream>
#include <utility>

#include "platform/heap/shsmp.h"

namespace test {

FakeHeap fakeHeap;

}  // namespace test

namespace {

using test::fakeHeap;

void note(const char* call, std::initializer_list<std::size_t> numbers = {}) {
  if (!fakeHeap.notes) return;
  std::ostringstream text;
  text << std::hex << (fakeHeap.calls.empty() ? "" : " ") << call << '(';
  const char* separator = "";
  for (const std::size_t number : numbers) text << std::exchange(separator, ",") << number;
  fakeHeap.calls += text.str() + ')';
}

bool fails(int& failing) {
  if (failing == 0) return false;
  --failing;
  return true;
}

char poolMemory;

}  // namespace

MemPool* MemPoolInit(std::uint32_t flags) {
  note("init", {flags});
  return fails(fakeHeap.failingInits) ? nullptr : reinterpret_cast<MemPool*>(&poolMemory);
}

std::int32_t MemPoolFree(MemPool*) {
  note(fakeHeap.locked == 0 ? "free" : "free under lock");
  return 1;
}

std::uint32_t MemPoolSetPageSize(MemPool*, std::uint32_t size) {
  note("pageSize", {size});
  return 0;
}

std::uint16_t MemPoolSetBlockSizeFS(MemPool*, std::uint16_t size) {
  note("blockSize", {size});
  return 0;
}

void* MemAllocPtr(MemPool* pool, std::size_t size, std::uint32_t flags) {
  note(pool == reinterpret_cast<MemPool*>(&poolMemory) ? "alloc" : "allocElsewhere", {size, flags});
  return fails(fakeHeap.failingAllocations) ? nullptr : std::calloc(1, size);
}

void* MemAllocAligned(MemPool*, std::size_t size, std::size_t alignment, std::uint32_t flags) {
  note("aligned", {size, alignment, flags});
  return fails(fakeHeap.failingAllocations) ? nullptr : std::calloc(1, size);
}

void* MemReAllocPtr(void* block, std::size_t size, std::uint32_t flags) {
  note("realloc", {size, flags});
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
