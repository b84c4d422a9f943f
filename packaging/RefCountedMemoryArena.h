#pragma once

#include <memory>

#include "packaging/MemoryArena.h"
#include "packaging/RefCountedObject.h"

/// Bytes that go with their last holder.
class Block final : public ruvo::k2r::NoLockRefCountedObject<ruvo::k2rpkgutil::IMemoryArenaAlloc> {
 public:
  explicit Block(std::uint64_t size);

  std::byte* getData() override { return data_.get(); }
  std::uint64_t getSize() const override { return size_; }

 private:
  std::unique_ptr<std::byte[]> data_;
  std::uint64_t size_;
};

namespace ruvo::k2rpkgutil {

/// Gives out a new block for each request, of exactly its size. The blocks may outlive the arena; a reset leaves them
/// to their holders.
class RefCountedMemoryArena final : public IMemoryArena {
 public:
  void allocate(MemoryHolder& out, std::uint64_t size) override;
  void reset() override {}
};

}  // namespace ruvo::k2rpkgutil
