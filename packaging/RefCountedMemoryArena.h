#pragma once

#include <cstddef>
#include <cstdint>

#include "packaging/MemoryArena.h"
#include "packaging/RefCountedObject.h"

/// A block that is freed with its last reference. The stored message may outlive the queue, the writer and the arena:
/// the container library holds a reference until the fragment is on the disk.
class Block final : public ruvo::k2r::NoLockRefCountedObject<ruvo::k2rpkgutil::IMemoryArenaAlloc> {
 public:
  /// `size` bytes, not zeroed: a message fills the whole block, so that every byte would be written twice. Throws
  /// std::bad_alloc.
  static Block* make(std::uint64_t size) { return new (Bytes{size}) Block(size); }

  /// As in IMemoryArenaAlloc; the bytes stay at their place.
  std::byte* getData() override { return data_; }
  std::uint64_t getSize() const override { return size_; }

  static void operator delete(void* block) { ::operator delete(block); }

 private:
  struct Bytes {
    std::uint64_t count;
  };

  explicit Block(std::uint64_t size) : data_(reinterpret_cast<std::byte*>(this + 1)), size_(size) {}
  /// The bytes follow the object in one allocation, since a thousand streams have a hundred thousand blocks.
  static void* operator new(std::size_t objectSize, Bytes bytes);
  static void operator delete(void* block, Bytes) { ::operator delete(block); }

  std::byte* data_;
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
