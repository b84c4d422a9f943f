#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace ruvo::k2rpkgutil {

/// An object that counts its holders. Both operations answer the new count.
class IRefCountedObject {
 public:
  virtual ~IRefCountedObject() = default;
  virtual std::uint32_t addRef() = 0;
  virtual std::uint32_t release() = 0;
};

/// A run of bytes from an arena.
class IMemoryArenaAlloc : public IRefCountedObject {
 public:
  virtual std::byte* getData() = 0;
  /// Capacity in bytes; at least what was asked for.
  virtual std::uint64_t getSize() const = 0;
};

/// Holds one reference on a run of arena bytes, or nothing.
class MemoryHolder {
 public:
  MemoryHolder() = default;
  /// Takes a reference of its own.
  explicit MemoryHolder(IMemoryArenaAlloc* memory) : memory_(memory) {
    if (memory_ != nullptr) memory_->addRef();
  }
  MemoryHolder(const MemoryHolder& other) : MemoryHolder(other.memory_) {}
  MemoryHolder(MemoryHolder&& other) noexcept : memory_(other.detach()) {}
  MemoryHolder& operator=(MemoryHolder other) noexcept {
    std::swap(memory_, other.memory_);
    return *this;
  }
  ~MemoryHolder() {
    if (memory_ != nullptr) memory_->release();
  }

  IMemoryArenaAlloc* get() const { return memory_; }
  IMemoryArenaAlloc* operator->() const { return memory_; }
  explicit operator bool() const { return memory_ != nullptr; }
  /// Hands the reference to the caller, who releases it; the holder is then empty.
  [[nodiscard]] IMemoryArenaAlloc* detach() noexcept { return std::exchange(memory_, nullptr); }

 private:
  IMemoryArenaAlloc* memory_ = nullptr;
};

/// Where the bytes of messages come from. An arena and its blocks belong to one thread.
class IMemoryArena {
 public:
  virtual ~IMemoryArena() = default;
  /// Sets `out` to at least `size` bytes of unspecified content. Throws std::bad_alloc; `out` is then as it was.
  virtual void allocate(MemoryHolder& out, std::uint64_t size) = 0;
  /// Tells the arena that the blocks given out so far are finished with.
  virtual void reset() = 0;
};

}  // namespace ruvo::k2rpkgutil
