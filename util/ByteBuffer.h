#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

namespace qvs::util {

/// An owned run of bytes, as the packager keeps codec headers and protection data. Empty is a null pointer and size 0.
/// Copies deeply and compares by content.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  /// `size` zero bytes.
  explicit ByteBuffer(std::uint64_t size);
  explicit ByteBuffer(std::span<const std::byte> bytes);
  ByteBuffer(const ByteBuffer& other) : ByteBuffer(other.bytes()) {}
  ByteBuffer(ByteBuffer&& other) noexcept : data_(std::move(other.data_)), size_(std::exchange(other.size_, 0)) {}
  ByteBuffer& operator=(ByteBuffer other) noexcept;
  ~ByteBuffer() = default;

  const std::byte* data() const { return data_.get(); }
  std::byte* data() { return data_.get(); }
  std::uint64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::span<const std::byte> bytes() const { return {data_.get(), static_cast<std::size_t>(size_)}; }

  void append(std::span<const std::byte> bytes);
  /// Copies of the bytes before and from `offset` on; from the size on, the tail is empty.
  std::pair<ByteBuffer, ByteBuffer> split(std::uint64_t offset) const;

  bool operator==(const ByteBuffer& other) const;

 private:
  std::unique_ptr<std::byte[]> data_;
  std::uint64_t size_ = 0;
};

}  // namespace qvs::util
