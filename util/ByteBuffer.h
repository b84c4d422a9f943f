#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

namespace qvs::util {

/// Owned bytes of a fixed size, as the packager keeps codec headers and protection data. Empty is a null pointer and
/// size 0. A copy has bytes of its own; equality compares content. A buffer that was moved from is empty. Nothing is
/// wiped when it is freed: whoever keeps a secret here wipes it first. Allocations throw std::bad_alloc.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  /// `size` zero bytes.
  explicit ByteBuffer(std::uint64_t size);
  /// A copy of `bytes`.
  explicit ByteBuffer(std::span<const std::byte> bytes);
  ByteBuffer(const ByteBuffer& other) : ByteBuffer(other.bytes()) {}
  ByteBuffer(ByteBuffer&& other) noexcept : data_(std::move(other.data_)), size_(std::exchange(other.size_, 0)) {}
  /// By value, so that one operator copies and moves, and a copy that fails leaves this buffer as it was.
  ByteBuffer& operator=(ByteBuffer other) noexcept;
  ~ByteBuffer() = default;

  /// Null if empty; valid until the buffer is assigned to, appended to, moved from or destroyed.
  const std::byte* data() const { return data_.get(); }
  std::byte* data() { return data_.get(); }
  std::uint64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  /// A view, valid as long as data() is.
  std::span<const std::byte> bytes() const { return {data_.get(), static_cast<std::size_t>(size_)}; }

  /// Copies old and new bytes to a new block: for a few small parts, not for a loop. `bytes` may be part of this
  /// buffer.
  void append(std::span<const std::byte> bytes);
  /// Copies of the bytes before `offset` and from it on. An offset of the size or more gives an empty second part.
  std::pair<ByteBuffer, ByteBuffer> split(std::uint64_t offset) const;

  bool operator==(const ByteBuffer& other) const;

 private:
  std::unique_ptr<std::byte[]> data_;
  std::uint64_t size_ = 0;
};

}  // namespace qvs::util
