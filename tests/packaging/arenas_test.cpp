#include <gtest/gtest.h>

#include <cstring>
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

TEST(RefCountedMemoryArena, GivesBlocksOfTheSizeAskedFor) {
  RefCountedMemoryArena arena;
  for (const std::uint64_t size : {0U, 1U, 15U, 100000U}) {
    const MemoryHolder memory = take(arena, size);
    EXPECT_EQ(memory->getSize(), size);
    std::memset(memory->getData(), 0x5A, size);
  }
}

TEST(RefCountedMemoryArena, LeavesABlockToItsHolders) {
  MemoryHolder kept;
  {
    RefCountedMemoryArena arena;
    arena.allocate(kept, 4);
    const MemoryHolder second = kept;
    EXPECT_EQ(kept->addRef(), 3U);
    EXPECT_EQ(kept->release(), 2U);
    arena.reset();
  }
  std::memset(kept->getData(), 1, 4);
  IMemoryArenaAlloc* const raw = kept.detach();
  EXPECT_FALSE(kept);
  EXPECT_EQ(raw->release(), 0U) << "the last holder; the block goes, as a leak check can tell";
}

TEST(RefCountedMemoryArena, ReplacesWhatAHolderHeld) {
  RefCountedMemoryArena arena;
  MemoryHolder first = take(arena, 1);
  const MemoryHolder watch = first;
  arena.allocate(first, 2);
  EXPECT_EQ(first->getSize(), 2U);
  EXPECT_EQ(watch->addRef(), 2U) << "only the watch is left";
  watch->release();
}

TEST(PooledBlock, GrowsToAMultipleOf1024AboveTheSize) {
  PooledBlock block;
  EXPECT_EQ(block.getSize(), 65536U);
  const struct {
    std::uint64_t size;
    std::uint64_t capacity;
  } rows[] = {{65536, 65536}, {65537, 66560}, {66560, 66560}, {66561, 67584}, {100, 67584}, {68608, 69632}};
  for (const auto& row : rows) {
    block.reserve(row.size);
    EXPECT_EQ(block.getSize(), row.capacity) << row.size;
    std::memset(block.getData(), 0x5A, block.getSize());
  }
}

TEST(PooledBlock, IsNotCounted) {
  PooledBlock block;
  EXPECT_EQ(block.addRef(), 1U);
  EXPECT_EQ(block.release(), 1U);
  EXPECT_EQ(block.release(), 1U);
  std::memset(block.getData(), 1, block.getSize());
}

/// The data pointers of so many blocks of `size` bytes, whose holders are gone.
std::vector<const std::byte*> blocks(PooledMemoryArena& arena, int count, std::uint64_t size = 10) {
  std::vector<const std::byte*> result;
  for (int i = 0; i < count; ++i) result.push_back(take(arena, size)->getData());
  return result;
}

TEST(PooledMemoryArena, KeepsOneBlockBeyondTheLimit) {
  const struct {
    std::uint64_t limitKiB;
    std::size_t kept;
  } rows[] = {{0, 1}, {63, 1}, {64, 2}, {127, 2}, {128, 3}, {1000, 3}};
  for (const auto& row : rows) {
    PooledMemoryArena arena(row.limitKiB);
    const auto first = blocks(arena, 3);
    arena.reset();
    // The blocks that were kept come back, last kept first; the allocator may place new ones where dropped ones were.
    const auto second = blocks(arena, static_cast<int>(row.kept));
    const std::vector<const std::byte*> expected(first.rend() - static_cast<std::ptrdiff_t>(row.kept), first.rend());
    EXPECT_EQ(second, expected) << row.limitKiB;
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

TEST(PooledMemoryArena, CountsTheFreeBytesOverSeveralRounds) {
  PooledMemoryArena arena(64);
  for (int round = 0; round < 5; ++round) {
    blocks(arena, 4);
    arena.reset();
  }
  const auto a = blocks(arena, 2);  // the two that are kept
  arena.reset();
  EXPECT_EQ(blocks(arena, 2), (std::vector<const std::byte*>{a[1], a[0]}));
}

TEST(PooledMemoryArena, AllocatesNothingOnceItsBlocksHaveGrown) {
  PooledMemoryArena arena(1000);
  const auto first = blocks(arena, 3, 70000);
  for (int round = 0; round < 4; ++round) {
    arena.reset();
    const auto again = blocks(arena, 3, 70000);
    EXPECT_EQ(std::vector(again.begin(), again.end()),
              round % 2 == 0 ? std::vector(first.rbegin(), first.rend()) : first);
  }
}

}  // namespace
