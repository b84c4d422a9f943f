#pragma once

#include <cstddef>
#include <span>

#include "platform/container/krvo_k2m.h"

namespace krvo::container {

/// A block of the caller's allocator in which bytes are gathered for a write. Filled from the front.
class StagingBuffer {
 public:
  static constexpr std::size_t kCapacity = std::size_t{2} << 20;

  explicit StagingBuffer(const KrvoK2MAllocatorCallBacks& allocator);
  ~StagingBuffer() { release(); }
  StagingBuffer(const StagingBuffer&) = delete;
  StagingBuffer& operator=(const StagingBuffer&) = delete;

  /// Makes room for `bytes`, at most kCapacity; what was in the buffer is lost. Throws std::bad_alloc.
  void reserve(std::size_t bytes);
  /// Takes as much of `bytes` as there is room for and answers how much that was.
  std::size_t append(std::span<const std::byte> bytes);
  bool full() const { return size_ == capacity_; }
  std::span<const std::byte> bytes() const { return {block_, size_}; }
  void clear() { size_ = 0; }
  /// Empties the buffer, and gives the block back where it is larger than a writer is to keep.
  void trim() noexcept;

 private:
  void release() noexcept;

  KrvoK2MAllocatorCallBacks allocator_;
  std::byte* block_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

}  // namespace krvo::container
