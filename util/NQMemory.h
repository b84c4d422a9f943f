#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "util/NQObject.h"
#include "util/NQPtr.h"

/// Would recycle blocks or messages. It is never defined: the module has none, and every argument of this type is null.
class NQPool;

/// A counted block of payload bytes. It owns them, or in a derived class views those of another block. Size and data
/// change on one thread at a time; `usedLength` may be read by others meanwhile. Sizes are bytes.
class NQMemory : public NQObject {
 public:
  /// Frees bytes that the block owns.
  using FreeFunction = void (*)(std::byte* data);

  /// `capacity` bytes from the heap, not initialised. `pool` is null; another one is a diagnostic. Throws
  /// std::bad_alloc.
  explicit NQMemory(std::uint32_t capacity, NQPool* pool = nullptr);
  ~NQMemory() override { freeData(); }

  /// Valid until `grow`, `resize` or the end of the block.
  std::byte* data() { return data_; }
  const std::byte* data() const { return data_; }
  /// Bytes that may be used from data() on.
  std::uint32_t capacity() const { return capacity_; }
  /// How much of the block its user has filled. Not checked against the capacity, which `used` does.
  std::uint32_t usedLength() const { return usedLength_; }
  void setUsedLength(std::uint32_t length) { usedLength_ = length; }
  /// Sets the used length and the second word to 0.
  void clearUsed();
  /// The bytes up to the used length, or up to the capacity if that is less.
  std::span<const std::byte> used() const;

  /// Makes room for `size` bytes and drops the content; does nothing if there is room. If memory is short, throws
  /// std::bad_alloc and leaves a block of capacity 0.
  void grow(std::uint32_t size);
  /// Gives the block another capacity, larger or smaller, and keeps as much of the content as fits. Returns false, with
  /// nothing changed, if memory is short. A view owns its bytes afterwards.
  bool resize(std::uint32_t capacity) noexcept;

 protected:
  /// A view of `length` bytes, all of which count as used. They outlive the block, which does not free them.
  NQMemory(std::byte* view, std::uint32_t length) : data_(view), capacity_(length), usedLength_(length) {}

 private:
  void freeData() noexcept;
  /// Makes `data` from the heap the block's own.
  void install(std::byte* data, std::uint32_t capacity) noexcept;

  std::byte* data_ = nullptr;
  std::uint32_t capacity_ = 0;
  std::atomic<std::uint32_t> usedLength_ = 0;
  /// Nothing here reads it; code of the server may, and expects it to become 0 together with the used length.
  std::atomic<std::uint32_t> secondWord_ = 0;
  /// Null for a view.
  FreeFunction free_ = nullptr;
};

using NQMemoryPtr = NQPtr<NQMemory>;
