#include "util/memoryLayer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <utility>

#include "tests/util/FakeHeap.h"

namespace qvs::util::memory {
namespace {

using test::fakeHeap;

class MemoryLayer : public testing::Test {
 protected:
  MemoryLayer() {
    freeDefaultPool();
    fakeHeap = {};
    fakeHeap.notes = true;
  }
  ~MemoryLayer() override {
    EXPECT_EQ(fakeHeap.locked, 0);
    std::set_new_handler(nullptr);
    setOutOfMemoryHook(nullptr);
    poolSettings = {};
    freeDefaultPool();
    fakeHeap = {};
  }

  /// What the heap was asked for since the last look.
  static std::string calls() { return std::exchange(fakeHeap.calls, {}); }
  /// Takes a block and gives it back.
  static void allocateOnce(std::size_t size, std::uint32_t flags = 0) { release(allocate(size, flags)); }
};

TEST_F(MemoryLayer, MakesThePoolWithTheFirstBlock) {
  allocateOnce(10);
  EXPECT_EQ(calls(), "init(8000) alloc(a,0) freeBlock()");
  allocateOnce(0);
  EXPECT_EQ(calls(), "alloc(1,0) freeBlock()");
  freeDefaultPool();
  freeDefaultPool();
  EXPECT_EQ(calls(), "free()");
  cAllocation.free(cAllocation.malloc(1));
  EXPECT_EQ(calls(), "init(8000) alloc(4,0) freeBlock()");
}

TEST_F(MemoryLayer, ThePoolIsMadeAsTheSettingsSay) {
  const struct {
    PoolSettings settings;
    const char* calls;
  } rows[] = {{{0x8000, 0xFFFF, 0}, "init(8000) alloc(a,0) freeBlock()"},
              {{0, 0xFFFE, 0}, "init(8000) blockSize(fffe) alloc(a,0) freeBlock()"},
              {{2, 0xFFFF, 4096}, "init(8002) pageSize(1000) alloc(a,0) freeBlock()"},
              {{8, 0, 1}, "init(8008) pageSize(1) blockSize(0) alloc(a,1) freeBlock()"}};
  for (const auto& row : rows) {
    freeDefaultPool();
    calls();
    poolSettings = row.settings;
    allocateOnce(10);
    EXPECT_EQ(calls(), row.calls);
  }
}

TEST_F(MemoryLayer, ZeroFillingReachesTheEntriesThatHaveIt) {
  poolSettings.flags = 8;
  allocateOnce(4);
  allocateOnce(4, kMemZeroFill);
  cAllocation.free(cAllocation.malloc(5));
  cAllocation.free(cAllocation.plain(5));
  EXPECT_EQ(calls(),
            "init(8008) alloc(4,1) freeBlock() alloc(4,1) freeBlock() alloc(8,1) freeBlock() alloc(5,0) freeBlock()");
}

TEST_F(MemoryLayer, TakesThePoolThatItIsGiven) {
  char other = 0;
  release(allocate(3, 0, reinterpret_cast<MemPool*>(&other)));
  EXPECT_EQ(calls(), "allocElsewhere(3,0) freeBlock()");
}

TEST_F(MemoryLayer, ReleasesNothingForNull) {
  release(nullptr);
  cAllocation.free(nullptr);
  EXPECT_EQ(calls(), "");
}

TEST_F(MemoryLayer, AlignedBlocksKeepTheirAlignment) {
  release(allocateAligned(0, 64));
  EXPECT_EQ(calls(), "init(8000) aligned(1,40,0) freeBlock()");
}

/// What an allocation throws; empty where it gives a block.
std::string failureOf(void* (*allocation)()) {
  try {
    release(allocation());
  } catch (const std::bad_alloc& failure) {
    return failure.what();
  }
  return {};
}

TEST_F(MemoryLayer, FailsWithoutAnybodyToAsk) {
  const struct {
    const char* why;
    void* (*allocation)();
    int test::FakeHeap::*failing;
  } rows[] = {{"no block", [] { return allocate(8); }, &test::FakeHeap::failingAllocations},
              {"no aligned block", [] { return allocateAligned(8, 8); }, &test::FakeHeap::failingAllocations},
              {"no pool", [] { return allocate(8); }, &test::FakeHeap::failingInits},
              {"no lock", [] { return allocate(8); }, &test::FakeHeap::failingLocks}};
  for (const auto& row : rows) {
    freeDefaultPool();
    fakeHeap.*row.failing = 1;
    EXPECT_EQ(failureOf(row.allocation), "bad allocation") << row.why;
    EXPECT_EQ(failureOf(row.allocation), "") << row.why << ": only once";
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
  EXPECT_NE(setOutOfMemoryHook(nullptr), nullptr);
}

TEST_F(MemoryLayer, AHookEndsTheWaitByAnException) {
  fakeHeap.failingAllocations = 2;
  setOutOfMemoryHook([] { throw 7; });
  EXPECT_THROW(allocate(2), int);
  EXPECT_EQ(cAllocation.malloc(2), nullptr) << "the C entries ask nobody";
  allocateOnce(2);
}

TEST_F(MemoryLayer, CEntriesRoundUp) {
  const struct {
    std::size_t size;
    const char* call;
  } rows[] = {{0, "alloc(4,0)"}, {1, "alloc(4,0)"}, {4, "alloc(4,0)"},
              {5, "alloc(8,0)"}, {8, "alloc(8,0)"}, {1023, "alloc(400,0)"}};
  cAllocation.free(cAllocation.malloc(1));
  for (const auto& row : rows) {
    calls();
    cAllocation.free(cAllocation.malloc(row.size));
    EXPECT_EQ(calls(), std::string(row.call) + " freeBlock()");
  }
  EXPECT_EQ(cAllocation.malloc(SIZE_MAX), nullptr);
  EXPECT_EQ(calls(), "") << "not rounded up to nothing";
}

TEST_F(MemoryLayer, ReallocCoversAllThree) {
  void* block = cAllocation.realloc(nullptr, 5);
  EXPECT_EQ(calls(), "init(8000) alloc(8,0)");
  fakeHeap.failingAllocations = 1;
  EXPECT_EQ(cAllocation.realloc(block, 9), nullptr);
  EXPECT_EQ(cAllocation.realloc(block, SIZE_MAX - 1), nullptr);
  block = cAllocation.realloc(block, 9);
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(calls(), "realloc(c,0) realloc(c,0)");
  EXPECT_EQ(cAllocation.realloc(block, 0), nullptr);
  EXPECT_EQ(calls(), "freeBlock()");
}

}  // namespace
}  // namespace qvs::util::memory
