#pragma once

#include <cstddef>
#include <cstdint>

namespace ruvo::k2rpkgutil {

/// Reads bits, most significant first, from bytes that it does not own. Nothing reads beyond them: what is missing
/// reads as ones, and the error flag tells of it.
class CBitstreamReader {
 public:
  /// Stands at the first bit of `size` bytes, which is the mark too. -2 for null data or a negative size, else 0.
  std::int32_t attach(const std::byte* data, std::int32_t size);
  /// Back to the first bit; the error is cleared.
  void rewind();

  /// At the end, or after an error: 1, and the error is set.
  std::uint32_t readBit();
  /// At the end: 1. Moves nothing.
  std::uint32_t peekBit() const;
  /// `count` bits, from 0 to 32.
  std::uint32_t readBits(std::int32_t count);
  /// The same without moving; the error of a read past the end stays set.
  std::uint32_t peekBits(std::int32_t count);
  /// 32 bits without moving and without touching the error. Whole bytes are seen also after an error.
  std::uint32_t peek32();

  /// `count` bytes on from the current byte, whose bits already read are forgotten. A step past the end stops there and
  /// sets the error; one before the start stops there.
  void skipBytes(std::int32_t count);
  /// The same by bits; answers how many were passed, negative when going back.
  std::int32_t skipBits(std::int32_t count);
  /// On to the next byte if this one is partly read.
  void align();

  void mark() { mark_ = position_; }
  /// Back to the mark; the error is cleared.
  void backToMark();

  /// A byte partly read counts as left.
  std::int64_t bytesLeft() const { return size_ - bytesRead(); }
  std::int64_t bitsLeft() const { return end() - position_; }
  std::int64_t bytesRead() const { return position_ / kBitsPerByte; }
  std::int64_t bitsRead() const { return position_; }
  bool error() const { return error_; }

 private:
  static constexpr std::int64_t kBitsPerByte = 8;

  std::int64_t end() const { return size_ * kBitsPerByte; }
  void moveTo(std::int64_t position);

  const std::byte* data_ = nullptr;
  /// Bytes.
  std::int64_t size_ = 0;
  /// In bits from the start, as is the mark.
  std::int64_t position_ = 0;
  std::int64_t mark_ = 0;
  bool error_ = false;
};

}  // namespace ruvo::k2rpkgutil
