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
  release(allocateAligned(0, 64));
  EXPECT_EQ(calls(), "init(8000) aligned(1,40,0) freeBlock()");
  char other = 0;
  release(allocate(3, 0, reinterpret_cast<MemPool*>(&other)));
  EXPECT_EQ(calls(), "allocElsewhere(3,0) freeBlock()");
  release(nullptr);
  cAllocation.free(nullptr);
  EXPECT_EQ(calls(), "");
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

TEST_F(MemoryLayer, FailsWithoutAnybodyToAsk) {
  const struct {
    const char* why;
    int test::FakeHeap::*failing;
    void* (*allocation)();
  } rows[] = {{"no block", &test::FakeHeap::failingAllocations, [] { return allocate(8); }},
              {"no aligned block", &test::FakeHeap::failingAllocations, [] { return allocateAligned(8, 8); }},
              {"no pool", &test::FakeHeap::failingInits, [] { return allocate(8); }},
              {"no lock", &test::FakeHeap::failingLocks, [] { return allocate(8); }}};
  for (const auto& row : rows) {
    freeDefaultPool();
    fakeHeap.*row.failing = 1;
    try {
      row.allocation();
      ADD_FAILURE() << row.why;
    } catch (const std::bad_alloc& failure) {
      EXPECT_STREQ(failure.what(), "bad allocation") << row.why;
    }
    release(row.allocation());
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

TEST_F(MemoryLayer, CEntriesRoundUp) {
  const struct {
    std::size_t size;
    const char* call;
  } rows[] = {{0, "alloc(4,0)"}, {1, "alloc(4,0)"}, {4, "alloc(4,0)"}, {5, "alloc(8,0)"}, {1023, "alloc(400,0)"}};
  cAllocation.free(cAllocation.malloc(1));
  EXPECT_EQ(calls(), "init(8000) alloc(4,0) freeBlock()");
  for (const auto& row : rows) {
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
