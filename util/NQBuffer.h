#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "util/NQMemory.h"

/// A window on a counted block: start <= end <= capacity, all in bytes from the front of the block. Copies share the
/// block but not the window. Address and capacity of the block are kept here; so while a buffer is attached, the block
/// may change its capacity through `resize` of this buffer only, and other buffers on it are then invalid. Belongs to
/// one thread at a time.
class NQBuffer {
 public:
  NQBuffer() = default;
  /// Attached to `memory`, with the empty window at its front.
  explicit NQBuffer(NQMemoryPtr memory) { attach(std::move(memory)); }

  /// Refers to another block, or to none for null; the window is then empty and at the front. Gives back the reference
  /// to the old block.
  void attach(NQMemoryPtr memory);
  /// As NQMemory::resize; the window keeps its offsets, cut to the new capacity. Also false without a block.
  bool resize(std::uint32_t capacity) noexcept;

  const NQMemoryPtr& memory() const { return memory_; }
  /// The front of the block, null without one.
  std::byte* data() const { return data_; }
  std::uint32_t capacity() const { return capacity_; }
  std::uint32_t start() const { return start_; }
  std::uint32_t end() const { return end_; }
  /// The bytes from start to end; a view of the block.
  std::span<const std::byte> window() const { return {data_ + start_, end_ - start_}; }
  /// Bytes of the block after the window.
  std::uint32_t room() const { return capacity_ - end_; }

  /// `start` is at most the end; any other is a diagnostic and changes nothing.
  void setStart(std::uint32_t start);
  /// `end` is from start to capacity; any other is a diagnostic and changes nothing. To move both forward, set this
  /// first.
  void setEnd(std::uint32_t end);
  /// The empty window at the front.
  void clear() { start_ = end_ = 0; }

 private:
  /// Takes address and capacity from the block.
  void refresh();

  NQMemoryPtr memory_;
  std::byte* data_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::uint32_t start_ = 0;
  std::uint32_t end_ = 0;
};
