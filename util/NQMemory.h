#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "util/NQObject.h"
#include "util/NQPtr.h"

/// Recycles blocks or messages. There is none here, so what asks for one is given null.
class NQPool;

/// A block of payload bytes: of its own, or, as a derived class has it, a view of another block's. Its size and data
/// change on one thread at a time; `usedLength` may be read meanwhile.
class NQMemory : public NQObject {
 public:
  using FreeFunction = void (*)(std::byte* data);

  /// `capacity` bytes from the heap, their content not set.
  explicit NQMemory(std::uint32_t capacity, NQPool* pool = nullptr);
  ~NQMemory() override { freeData(); }

  std::byte* data() { return data_; }
  const std::byte* data() const { return data_; }
  std::uint32_t capacity() const { return capacity_; }
  std::uint32_t usedLength() const { return usedLength_; }
  void setUsedLength(std::uint32_t length) { usedLength_ = length; }
  /// Sets the used length to 0, and the word beside it.
  void clearUsed();
  /// The bytes up to the used length, or to the capacity where that is less.
  std::span<const std::byte> used() const;

  /// Makes room for `size` bytes, without keeping the content. Nothing happens where there is room.
  void grow(std::uint32_t size);
  /// Gives the block another capacity and keeps as much of the content as fits. False, and nothing changed, where
  /// memory is short. Either leaves the block with bytes of its own.
  bool resize(std::uint32_t capacity) noexcept;

 protected:
  /// A view: the bytes are never freed, and outlive the block. All of them count as used.
  NQMemory(std::byte* view, std::uint32_t length) : data_(view), capacity_(length), usedLength_(length) {}

 private:
  void freeData() noexcept;
  void install(std::byte* data, std::uint32_t capacity) noexcept;

  std::byte* data_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::atomic<std::uint32_t> usedLength_ = 0;
  /// Kept for the server's code; goes back to 0 with the used length.
  std::atomic<std::uint32_t> secondWord_ = 0;
  /// Null where the bytes are not the block's own.
  FreeFunction free_ = nullptr;
};

using NQMemoryPtr = NQPtr<NQMemory>;
