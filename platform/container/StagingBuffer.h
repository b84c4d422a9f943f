#pragma once

#include <cstddef>
#include <span>

#include "platform/container/krvo_k2m.h"

namespace krvo::container {

/// A block from the caller's allocator in which bytes are gathered for one write, filled from the front. Belongs to one
/// thread; the allocator outlives it.
class StagingBuffer {
 public:
  /// Bytes of the largest block.
  static constexpr std::size_t kCapacity = std::size_t{2} << 20;

  /// Throws StatusError for an allocator record that is not complete.
  explicit StagingBuffer(const KrvoK2MAllocatorCallBacks& allocator);
  ~StagingBuffer() { release(); }
  StagingBuffer(const StagingBuffer&) = delete;
  StagingBuffer& operator=(const StagingBuffer&) = delete;

  /// Empties the buffer and makes room for `bytes`, at most kCapacity. Throws std::bad_alloc.
  void reserve(std::size_t bytes);
  /// Copies as many of `bytes` as there is room for and returns their number.
  std::size_t append(std::span<const std::byte> bytes);
  /// True for a buffer without a block, too.
  bool full() const { return size_ == capacity_; }
  /// A view, valid until the next call that changes the buffer.
  std::span<const std::byte> bytes() const { return {block_, size_}; }
  /// Keeps the block.
  void clear() { size_ = 0; }
  /// Gives the block back.
  void release() noexcept;

 private:
  KrvoK2MAllocatorCallBacks allocator_;
  std::byte* block_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

}  // namespace krvo::container
