#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "util/QVSException.h"
#include "util/fourcc.h"

namespace qvs::util {

/// Input does not follow its format: it is too short, or a type, version, size or count is wrong. The text names the
/// offset, and what was expected.
class MalformedInput : public QVSException {
 public:
  using QVSException::QVSException;
};

/// The bytes of a text, without its terminator; a view of the text.
inline std::span<const std::byte> asBytes(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

// The two functions that all big-endian readers and writers are made of.

/// Stores the low `width` bytes of `value` at `at`, the highest first. `width` is at most 8.
inline void storeBigEndian(std::byte* at, std::size_t width, std::uint64_t value) {
  for (std::size_t i = 0; i < width; ++i) at[i] = static_cast<std::byte>(value >> (8 * (width - 1 - i)));
}

/// The unsigned number in the `width` bytes at `at`, the highest first. `width` is at most 8.
inline std::uint64_t loadBigEndian(const std::byte* at, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | std::to_integer<std::uint64_t>(at[i]);
  return value;
}

/// A growing buffer of bytes, written front to back in big-endian order. Owns its bytes. Belongs to one thread. Writing
/// throws std::bad_alloc only.
class ByteWriter {
 public:
  void u8(std::uint8_t value) { put<1>(value); }
  void u16(std::uint16_t value) { put<2>(value); }
  /// The low 24 bits of `value`.
  void u24(std::uint32_t value) { put<3>(value); }
  void u32(std::uint32_t value) { put<4>(value); }
  void u64(std::uint64_t value) { put<8>(value); }
  void i16(std::int16_t value) { u16(static_cast<std::uint16_t>(value)); }
  void i32(std::int32_t value) { u32(static_cast<std::uint32_t>(value)); }
  /// IEEE 754 double precision.
  void f64(double value);
  /// `value` is not part of this buffer.
  void bytes(std::span<const std::byte> value) { data_.insert(data_.end(), value.begin(), value.end()); }
  /// The characters alone, neither length nor terminator.
  void text(std::string_view value) { bytes(asBytes(value)); }
  /// For reserved fields.
  void zeros(std::size_t count) { data_.resize(data_.size() + count); }

  /// Overwrites four bytes that were written before. Throws std::out_of_range if `offset` + 4 exceeds size().
  void patchU32(std::size_t offset, std::uint32_t value);

  /// Drops the bytes and keeps their memory.
  void clear() { data_.clear(); }
  /// Allocates for `size` bytes in all; a hint that saves growing.
  void reserve(std::size_t size) { data_.reserve(size); }
  std::size_t size() const { return data_.size(); }
  /// A view that the next write may invalidate.
  std::span<const std::byte> bytes() const { return data_; }
  /// Moves the bytes out; the writer is then empty and may be used again.
  std::vector<std::byte> take() { return std::exchange(data_, {}); }

 private:
  template <std::size_t width>
  void put(std::uint64_t value) {
    std::byte image[width];
    storeBigEndian(image, width, value);
    data_.insert(data_.end(), image, image + width);
  }

  std::vector<std::byte> data_;
};

/// Reads big-endian fields from a view, front to back. A read beyond the end throws MalformedInput and leaves the
/// position where it was. A value of a pointer, size and position: a copy reads on by itself. The bytes outlive it.
/// Nothing is allocated and nothing copied.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> data) : data_(data) {}

  // Numbers of 8 to 64 bits, the highest byte first.
  std::uint8_t u8() { return static_cast<std::uint8_t>(take<1>()); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(take<2>()); }
  std::uint32_t u24() { return static_cast<std::uint32_t>(take<3>()); }
  /// A signed 24-bit number in two's complement.
  std::int32_t i24() { return static_cast<std::int32_t>(u24() << 8) >> 8; }
  std::uint32_t u32() { return static_cast<std::uint32_t>(take<4>()); }
  std::uint64_t u64() { return take<8>(); }
  std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
  std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
  /// IEEE 754 double precision.
  double f64();
  /// A view of the next `count` bytes.
  std::span<const std::byte> bytes(std::uint64_t count);
  /// Throws like a read if fewer than `count` bytes are left.
  void skip(std::uint64_t count) { bytes(count); }

  /// Throws MalformedInput if fewer than `count` bytes are left. To be called before memory is allocated by a count or
  /// size from the input; the product of count and width is computed in 64 bits.
  void need(std::uint64_t count) const {
    if (count > remaining()) failShort(count);
  }
  /// Bytes that are left.
  std::size_t remaining() const { return data_.size() - position_; }
  /// Bytes read so far.
  std::size_t position() const { return position_; }

 private:
  template <std::size_t width>
  std::uint64_t take() {
    need(width);
    const std::uint64_t value = loadBigEndian(data_.data() + position_, width);
    position_ += width;
    return value;
  }
  [[noreturn]] void failShort(std::uint64_t count) const;

  std::span<const std::byte> data_;
  std::size_t position_ = 0;
};

}  // namespace qvs::util
