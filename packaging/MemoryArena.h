#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace ruvo::k2rpkgutil {

/// An object that counts the references to it. Both operations return the new count.
///
/// The slot order is fixed: an arena of another maker may implement this interface.
class IRefCountedObject {
 public:
  virtual ~IRefCountedObject() = default;
  virtual std::uint32_t addRef() = 0;
  /// The object may be gone when this returns 0.
  virtual std::uint32_t release() = 0;
};

/// A block of bytes from an arena. It is freed, or reused, by the rules of the arena that made it.
class IMemoryArenaAlloc : public IRefCountedObject {
 public:
  /// The first byte. The address stays the same for as long as a reference is held.
  virtual std::byte* getData() = 0;
  /// Capacity in bytes: at least the requested size. The size of a message in the block is kept by the message.
  virtual std::uint64_t getSize() const = 0;
};

/// Owns one reference to a block, or is empty. The count that it changes is usually not atomic, so a holder stays on
/// the thread of its arena.
class MemoryHolder {
 public:
  MemoryHolder() = default;
  /// Adds a reference; the caller keeps any reference that it has.
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
  /// Passes the reference to the caller, who must release it. The holder is empty afterwards.
  [[nodiscard]] IMemoryArenaAlloc* detach() noexcept { return std::exchange(memory_, nullptr); }

 private:
  IMemoryArenaAlloc* memory_ = nullptr;
};

/// Allocates the bytes of messages, so that a caller can choose how without the messages knowing.
///
/// An arena and its blocks belong to one thread; whoever releases a block last, also the container library, does so on
/// that thread.
class IMemoryArena {
 public:
  virtual ~IMemoryArena() = default;
  /// Sets `out` to a block of at least `size` bytes of unspecified content. Throws std::bad_alloc; `out` is then
  /// unchanged.
  virtual void allocate(MemoryHolder& out, std::uint64_t size) = 0;
  /// Says that the caller no longer uses the blocks allocated so far. An arena that counts references ignores this; one
  /// that does not may hand the same bytes out again.
  virtual void reset() = 0;
};

}  // namespace ruvo::k2rpkgutil
