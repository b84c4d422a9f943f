#pragma once

#include <memory>

#include "packaging/MemoryArena.h"
#include "packaging/RefCountedObject.h"

/// A block that is freed with its last reference. The stored message may outlive the queue, the writer and the arena:
/// the container library holds a reference until the fragment is on the disk.
class Block final : public ruvo::k2r::NoLockRefCountedObject<ruvo::k2rpkgutil::IMemoryArenaAlloc> {
 public:
  /// `size` bytes, not zeroed. Throws std::bad_alloc.
  explicit Block(std::uint64_t size);

  std::byte* getData() override { return data_.get(); }
  std::uint64_t getSize() const override { return size_; }

 private:
  std::unique_ptr<std::byte[]> data_;
  std::uint64_t size_;
};

namespace ruvo::k2rpkgutil {

/// Makes a new block of exactly the requested size for each request; the arena of every recording. Blocks may outlive
/// the arena, and `reset` does nothing to them. Belongs to one thread.
class RefCountedMemoryArena final : public IMemoryArena {
 public:
  void allocate(MemoryHolder& out, std::uint64_t size) override;
  void reset() override {}
};

}  // namespace ruvo::k2rpkgutil
