#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "util/NQMemory.h"

/// A window on a block: start <= end <= capacity. Copies share the block. Belongs to one thread at a time; while it is
/// attached, the block changes its capacity through `resize` here only.
class NQBuffer {
 public:
  NQBuffer() = default;
  explicit NQBuffer(NQMemoryPtr memory) { attach(std::move(memory)); }

  /// Looks at another block, or at none; the window is then empty and at the front.
  void attach(NQMemoryPtr memory);
  /// As NQMemory::resize; the window keeps its offsets, cut to the new capacity. False, too, without a block.
  bool resize(std::uint32_t capacity) noexcept;

  const NQMemoryPtr& memory() const { return memory_; }
  /// The front of the block, null without one.
  std::byte* data() const { return data_; }
  std::uint32_t capacity() const { return capacity_; }
  std::uint32_t start() const { return start_; }
  std::uint32_t end() const { return end_; }
  /// What lies between start and end.
  std::span<const std::byte> window() const { return {data_ + start_, end_ - start_}; }
  /// Bytes behind the window.
  std::uint32_t room() const { return capacity_ - end_; }

  /// `start` is not behind the end; another one is a diagnostic and changes nothing.
  void setStart(std::uint32_t start);
  /// `end` lies between the start and the capacity; another one is a diagnostic and changes nothing.
  void setEnd(std::uint32_t end);
  /// The empty window at the front.
  void clear() { start_ = end_ = 0; }

 private:
  void takeOver();

  NQMemoryPtr memory_;
  std::byte* data_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::uint32_t start_ = 0;
  std::uint32_t end_ = 0;
};
