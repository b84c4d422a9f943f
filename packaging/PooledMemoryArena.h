#pragma once

#include <memory>
#include <vector>

#include "packaging/MemoryArena.h"
#include "packaging/RefCountedObject.h"

namespace ruvo::k2rpkgutil {

/// Reuses its blocks, for a source whose messages are all done with at a known moment. In the steady state it allocates
/// nothing, since its blocks have grown to the largest message.
///
/// References are not counted: after `reset`, and after the arena is destroyed, a block that somebody still points to
/// belongs to the next request or is freed. So no recording uses it, because there the container library decides when
/// a message is done with. Belongs to one thread.
class PooledMemoryArena final : public IMemoryArena {
 public:
  class IPooledBlock : public IMemoryArenaAlloc {
   public:
    /// Makes the capacity at least `size` bytes. A block that grows loses its content. Throws std::bad_alloc; the block
    /// then has no bytes although getSize() returns the larger figure, and must be destroyed.
    virtual void reserve(std::uint64_t size) = 0;
  };

  /// `poolLimitKiB`: a reset keeps blocks in the order of their use until their sum exceeds this, the exceeding block
  /// included. So 0 keeps one block.
  explicit PooledMemoryArena(std::uint64_t poolLimitKiB) : poolLimitKiB_(poolLimitKiB) {}

  void allocate(MemoryHolder& out, std::uint64_t size) override;
  void reset() override;

 private:
  using Blocks = std::vector<std::unique_ptr<IPooledBlock>>;

  /// The block that was freed last, or a new one.
  std::unique_ptr<IPooledBlock> takeBlock();

  std::uint64_t poolLimitKiB_;
  /// Waiting for reuse; the last one is used first.
  Blocks free_;
  /// Handed out since the last reset, oldest first.
  Blocks used_;
  /// Sum of the capacities of `free_`.
  std::uint64_t freeBytes_ = 0;
};

}  // namespace ruvo::k2rpkgutil

/// A block that can grow and does not count its references: its arena destroys it. Starts with 64 KiB.
class PooledBlock final : public ruvo::k2r::NoopRefCountedObject<ruvo::k2rpkgutil::PooledMemoryArena::IPooledBlock> {
 public:
  PooledBlock();

  std::byte* getData() override { return data_.get(); }
  std::uint64_t getSize() const override { return capacity_; }
  /// Grows to the next multiple of 1024 strictly above `size`, or stays as it is where that fits already.
  void reserve(std::uint64_t size) override;

 private:
  std::unique_ptr<std::byte[]> data_;
  std::uint64_t capacity_;
};
