#pragma once

#include <memory>
#include <vector>

#include "packaging/MemoryArena.h"
#include "packaging/RefCountedObject.h"

namespace ruvo::k2rpkgutil {

/// Gives out blocks that it takes back all at once, for a source whose messages are finished with at a known moment.
/// Holders have no claim on a block: after a reset its bytes belong to the next request.
class PooledMemoryArena final : public IMemoryArena {
 public:
  class IPooledBlock : public IMemoryArenaAlloc {
   public:
    /// Makes the capacity at least `size`. What grows loses its content. When this throws std::bad_alloc the block has
    /// no bytes and is of no further use.
    virtual void reserve(std::uint64_t size) = 0;
  };

  /// Keeps blocks for reuse up to `poolLimitKiB`, and one beyond it.
  explicit PooledMemoryArena(std::uint64_t poolLimitKiB) : poolLimitKiB_(poolLimitKiB) {}

  void allocate(MemoryHolder& out, std::uint64_t size) override;
  void reset() override;

 private:
  using Blocks = std::vector<std::unique_ptr<IPooledBlock>>;

  std::unique_ptr<IPooledBlock> takeBlock();

  std::uint64_t poolLimitKiB_;
  /// Last in, first out.
  Blocks free_;
  /// Handed out since the last reset, oldest first.
  Blocks used_;
  /// Sum of the capacities of `free_`.
  std::uint64_t freeBytes_ = 0;
};

}  // namespace ruvo::k2rpkgutil

/// A block that grows and whose holders are not counted: its arena ends it.
class PooledBlock final : public ruvo::k2r::NoopRefCountedObject<ruvo::k2rpkgutil::PooledMemoryArena::IPooledBlock> {
 public:
  PooledBlock();

  std::byte* getData() override { return data_.get(); }
  std::uint64_t getSize() const override { return capacity_; }
  /// Grows to the next multiple of 1024 above `size`.
  void reserve(std::uint64_t size) override;

 private:
  std::unique_ptr<std::byte[]> data_;
  std::uint64_t capacity_;
};
