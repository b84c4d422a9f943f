#include <cstring>
#include <thread>

#include "platform/heap/shsmp.h"
#include "tests/support/testing.h"

// Run for each heap that is built.

namespace {

constexpr std::size_t kTooMuch = std::numeric_limits<std::size_t>::max() / 2;

class Heap : public testing::Test {
 protected:
  MemPool* const pool_ = MemPoolInit(0x8000);
};

TEST_F(Heap, HasAPoolThatMayBeTunedAndFreed) {
  ASSERT_NE(pool_, nullptr);
  void* const block = MemAllocPtr(pool_, 10, 0);
  MemPoolSetPageSize(pool_, 4096);
  MemPoolSetBlockSizeFS(pool_, 64);
  EXPECT_EQ(MemPoolFree(pool_), 1);
  std::memset(block, 1, 10);
  MemFreePtr(block);
}

TEST_F(Heap, FillsWithZerosOnRequest) {
  for (int round = 0; round < 8; ++round) {
    auto* const block = static_cast<unsigned char*>(MemAllocPtr(pool_, 1000, kMemZeroFill));
    EXPECT_EQ(std::count(block, block + 1000, 0), 1000);
    std::memset(block, 0xFF, 1000);
    MemFreePtr(block);
  }
}

TEST_F(Heap, ReallocationKeepsTheContent) {
  auto* block = static_cast<char*>(MemAllocPtr(pool_, 8, 0));
  std::strcpy(block, "content");
  for (const std::size_t size : {9U, 5000U, 3'000'000U, 8U}) {
    block = static_cast<char*>(MemReAllocPtr(block, size, 0));
    ASSERT_STREQ(block, "content") << size;
  }
  MemFreePtr(block);
}

TEST_F(Heap, HonoursAlignments) {
  for (std::size_t alignment = 1; alignment <= 4096; alignment *= 2) {
    void* const block = MemAllocAligned(pool_, 100, alignment, 0);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0U);
    MemFreePtr(block);
  }
}

#ifndef K2R_SANITIZED  // A sanitizer's heap ends the program instead.
TEST_F(Heap, ReturnsNullWhereThereIsNoMemory) {
  EXPECT_EQ(MemAllocPtr(pool_, kTooMuch, 0), nullptr);
  EXPECT_EQ(MemAllocPtr(pool_, kTooMuch, kMemZeroFill), nullptr);
  EXPECT_EQ(MemAllocAligned(pool_, kTooMuch, 64, 0), nullptr);
  void* const block = MemAllocPtr(pool_, 8, 0);
  EXPECT_EQ(MemReAllocPtr(block, kTooMuch, 0), nullptr);
  MemFreePtr(block);
}
#endif

TEST_F(Heap, TheLockKeepsThreadsApart) {
  int count = 0;
  const auto work = [&] {
    for (int i = 0; i < 20000; ++i) {
      ASSERT_EQ(_shi_enterCriticalSection(), 1);
      ++count;
      _shi_leaveCriticalSection();
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(count, 40000);
}

}  // namespace
