#include "util/memoryLayer.h"

#include <cstdlib>
#include <new>

#include "tests/support/testing.h"
#include "tests/util/failures.h"

namespace {

/// The heap in these tests: that of the C library, which notes what it is asked for and refuses what it is set to.
struct FakeHeap {
  /// Calls since the heap was last put to its defaults: "init(8000) alloc(4,1) ...", numbers in hex.
  std::string calls;
  /// How many of the next calls fail.
  int failingAllocations = 0, failingInits = 0, failingLocks = 0;
  /// Entered and not left.
  int locked = 0;
  /// Called when the lock is next entered, just before it is.
  void (*beforeLock)() = nullptr;
};
FakeHeap fakeHeap;

template <typename... Numbers>
void note(const char* call, Numbers... numbers) {
  std::ostringstream text;
  text << std::hex << (fakeHeap.calls.empty() ? "" : " ") << call << '(';
  [[maybe_unused]] const char* separator = "";
  ((text << std::exchange(separator, ",") << numbers), ...);
  fakeHeap.calls += text.str() + ')';
}

constexpr auto fails = [](int& failing) { return failing > 0 && failing-- > 0; };

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
  if (const auto other = std::exchange(fakeHeap.beforeLock, nullptr); other != nullptr) other();
  ++fakeHeap.locked;
  return 1;
}

void _shi_leaveCriticalSection() {
  --fakeHeap.locked;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept try {
  return fails(test::failingBuffers) ? nullptr : ::operator new[](size);
} catch (const std::bad_alloc&) {
  return nullptr;
}

namespace qvs::util::memory {
namespace {

class MemoryLayer : public testing::Test {
 protected:
  MemoryLayer() {
    freeDefaultPool();
    fakeHeap = {};
  }
  ~MemoryLayer() override {
    EXPECT_EQ(fakeHeap.locked, 0);
    std::set_new_handler(nullptr);
    setOutOfMemoryHook(nullptr);
  }

  /// What the heap was asked for since the last look.
  static std::string calls() { return std::exchange(fakeHeap.calls, {}); }
  /// Takes a block and gives it back.
  static void allocateOnce(std::size_t size) { release(allocate(size)); }
};

TEST_F(MemoryLayer, MakesThePoolWithTheFirstBlock) {
  for (const std::size_t size : {10U, 0U}) allocateOnce(size);
  for (int i = 0; i < 2; ++i) freeDefaultPool();
  EXPECT_EQ(calls(), "init(8000) alloc(a,0) freeBlock() alloc(1,0) freeBlock() free()");
  release(allocateAligned(0, 64));
  EXPECT_EQ(calls(), "init(8000) aligned(1,40,0) freeBlock()");
  char other = 0;
  release(allocate(3, kMemZeroFill, reinterpret_cast<MemPool*>(&other)));
  EXPECT_EQ(calls(), "allocElsewhere(3,1) freeBlock()");
  release(nullptr);
  cAllocation.free(nullptr);
  EXPECT_EQ(calls(), "");
}

TEST_F(MemoryLayer, TakesThePoolThatAnotherThreadMakesFirst) {
  fakeHeap.beforeLock = [] { allocateOnce(1); };
  allocateOnce(2);
  EXPECT_EQ(calls(), "init(8000) alloc(1,0) freeBlock() alloc(2,0) freeBlock()");
}

TEST_F(MemoryLayer, FailsWithoutAnybodyToAsk) {
  const std::tuple<const char*, int FakeHeap::*, void* (*)()> rows[] = {
      {"no block", &FakeHeap::failingAllocations, [] { return allocate(8); }},
      {"no aligned block", &FakeHeap::failingAllocations, [] { return allocateAligned(8, 8); }},
      {"no pool", &FakeHeap::failingInits, [] { return allocate(8); }},
      {"no lock", &FakeHeap::failingLocks, [] { return allocate(8); }}};
  for (const auto& [why, failing, allocation] : rows) {
    freeDefaultPool();
    fakeHeap.*failing = 1;
    EXPECT_THAT(allocation, testing::ThrowsMessage<std::bad_alloc>("bad allocation")) << why;
    release(allocation());
  }
}

std::string asked;

TEST_F(MemoryLayer, AsksTheNewHandlerThenTheHook) {
  fakeHeap.failingAllocations = 3;
  asked.clear();
  std::set_new_handler([] {
    asked += "handler ";
    if (asked.size() > 10) std::set_new_handler(nullptr);
  });
  EXPECT_EQ(setOutOfMemoryHook([] { asked += "hook"; }), nullptr);
  allocateOnce(2);
  EXPECT_EQ(asked, "handler handler hook");
  EXPECT_EQ(calls(), "init(8000) alloc(2,0) alloc(2,0) alloc(2,0) alloc(2,0) freeBlock()");
  EXPECT_NE(setOutOfMemoryHook([] { throw 7; }), nullptr);
  fakeHeap.failingAllocations = 2;
  EXPECT_THROW(allocate(2), int) << "a hook ends the wait";
  EXPECT_EQ(cAllocation.malloc(2), nullptr) << "the C entries ask nobody";
}

TEST_F(MemoryLayer, CEntriesRoundUpAndReallocCoversAllThree) {
  const std::pair<std::size_t, const char*> rows[] = {
      {0, "alloc(4,0)"}, {1, "alloc(4,0)"}, {4, "alloc(4,0)"}, {5, "alloc(8,0)"}, {1023, "alloc(400,0)"}};
  allocateOnce(1);
  calls();
  for (const auto& [size, call] : rows) {
    cAllocation.free(cAllocation.malloc(size));
    EXPECT_EQ(calls(), std::string(call) + " freeBlock()");
  }
  EXPECT_EQ(cAllocation.malloc(SIZE_MAX), nullptr);
  EXPECT_EQ(calls(), "") << "not rounded up to nothing";
  void* block = cAllocation.realloc(nullptr, 5);
  fakeHeap.failingAllocations = 1;
  for (const std::size_t tooMuch : {std::size_t{9}, SIZE_MAX - 1})
    EXPECT_EQ(cAllocation.realloc(block, tooMuch), nullptr) << "the block stays";
  block = cAllocation.realloc(block, 9);
  EXPECT_EQ(cAllocation.realloc(block, 0), nullptr);
  EXPECT_EQ(calls(), "alloc(8,0) realloc(c,0) realloc(c,0) freeBlock()");
}

}  // namespace
}  // namespace qvs::util::memory
