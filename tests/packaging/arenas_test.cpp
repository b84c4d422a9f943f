#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

#include "packaging/PooledMemoryArena.h"
#include "packaging/RefCountedMemoryArena.h"

namespace {

using namespace ruvo::k2rpkgutil;

MemoryHolder take(IMemoryArena& arena, std::uint64_t size) {
  MemoryHolder memory;
  arena.allocate(memory, size);
  return memory;
}

TEST(RefCountedMemoryArena, LeavesABlockToItsHolders) {
  MemoryHolder kept;
  {
    RefCountedMemoryArena arena;
    for (const std::uint64_t size : {0U, 15U, 100000U}) {
      arena.allocate(kept, size);  // gives back the one before
      EXPECT_EQ(kept->getSize(), size);
    }
    const MemoryHolder second = kept;
    EXPECT_EQ(kept->addRef(), 3U);
    EXPECT_EQ(kept->release(), 2U);
    arena.reset();
  }
  std::memset(kept->getData(), 1, kept->getSize());
  IMemoryArenaAlloc* const raw = kept.detach();
  EXPECT_FALSE(kept);
  EXPECT_EQ(raw->release(), 0U) << "the last holder; the block goes, as a leak check can tell";
}

TEST(PooledBlock, GrowsToAMultipleOf1024AboveTheSizeAndIsNotCounted) {
  PooledBlock block;
  EXPECT_EQ(block.getSize(), 65536U);
  const std::pair<std::uint64_t, std::uint64_t> sizesAndCapacities[] = {{65536, 65536}, {65537, 66560}, {66560, 66560},
                                                                        {66561, 67584}, {100, 67584},   {68608, 69632}};
  for (const auto& [size, capacity] : sizesAndCapacities) {
    block.reserve(size);
    EXPECT_EQ(block.getSize(), capacity) << size;
    std::memset(block.getData(), 0x5A, block.getSize());
  }
  EXPECT_EQ(block.addRef(), 1U);
  EXPECT_EQ(block.release(), 1U);
  EXPECT_EQ(block.release(), 1U);
  std::memset(block.getData(), 1, block.getSize());
}

/// The data pointers of so many blocks of `size` bytes, whose holders are gone.
std::vector<const std::byte*> blocks(PooledMemoryArena& arena, std::size_t count, std::uint64_t size = 10) {
  std::vector<const std::byte*> result;
  while (result.size() < count) result.push_back(take(arena, size)->getData());
  return result;
}

TEST(PooledMemoryArena, KeepsOneBlockBeyondTheLimitInEveryRound) {
  const std::pair<std::uint64_t, std::size_t> limitsInKiBAndBlocksKept[] = {{0, 1},   {63, 1},  {64, 2},
                                                                            {127, 2}, {128, 3}, {1000, 3}};
  for (const auto& [limit, kept] : limitsInKiBAndBlocksKept) {
    PooledMemoryArena arena(limit);
    auto first = blocks(arena, 3);
    for (int round = 0; round < 3; ++round) {
      arena.reset();
      // The blocks that were kept come back, last kept first; the allocator may place new ones where dropped ones were.
      first.resize(kept);
      const std::vector<const std::byte*> expected(first.rbegin(), first.rend());
      first = blocks(arena, kept);
      EXPECT_EQ(first, expected) << limit;
      blocks(arena, 3 - kept);
    }
  }
}

TEST(PooledMemoryArena, ReusesABlockAtTheSizeItGrewTo) {
  PooledMemoryArena arena(1000);
  const MemoryHolder grown = take(arena, 200000);
  EXPECT_EQ(grown->getSize(), 200704U);
  EXPECT_NE(take(arena, 1)->getData(), grown->getData()) << "no block is given out twice before a reset";
  arena.reset();
  take(arena, 1);
  EXPECT_EQ(take(arena, 10)->getSize(), 200704U);
}

}  // namespace
