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

  /// Empties the buffer and makes room for `bytes`, at most kCapacity, which are for `position` in the file. Throws
  /// std::bad_alloc.
  void reserve(std::size_t bytes, std::uint64_t position);
  /// Copies as many of `bytes` as there is room for and returns their number.
  std::size_t append(std::span<const std::byte> bytes);
  /// True for a buffer without a block, too.
  bool full() const { return size_ == capacity_; }
  /// A view, valid until the next call that changes the buffer.
  std::span<const std::byte> bytes() const { return {block_ + start_, size_}; }
  /// Empties the buffer and keeps the block. What comes next is for `position` in the file: its place in a page of
  /// memory becomes that in a page of the file, which the system copies faster.
  void startAt(std::uint64_t position);
  /// Gives the block back.
  void release() noexcept;

 private:
  /// Replaces the block by a larger one.
  void grow(std::size_t bytes);

  KrvoK2MAllocatorCallBacks allocator_;
  /// Of `capacity_` bytes and a page.
  std::byte* block_ = nullptr;
  /// Offset of the first byte in the block.
  std::size_t start_ = 0;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

}  // namespace krvo::container
