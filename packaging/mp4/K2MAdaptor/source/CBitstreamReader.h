#pragma once

#include <cstddef>
#include <cstdint>

namespace ruvo::k2rpkgutil {

/// Reads bits, most significant first, from bytes that it does not own and that must outlive it. Nothing reads beyond
/// them: missing bits read as ones and set the error flag, so that a caller may check once, after many reads. Throws
/// nothing.
class CBitstreamReader {
 public:
  /// Starts at the first bit of `size` bytes and sets the mark there. Returns -2 for null data or a negative size, else
  /// 0.
  std::int32_t attach(const std::byte* data, std::int32_t size);
  /// Moves back to the first bit and clears the error.
  void rewind();

  /// Returns the next bit. At the end, or after an error, returns 1 and sets the error.
  std::uint32_t readBit();
  /// Returns the next bit without moving; 1 at the end.
  std::uint32_t peekBit() const;
  /// Returns `count` bits, from 0 to 32.
  std::uint32_t readBits(std::int32_t count);
  /// The same without moving; the error of a read past the end stays set.
  std::uint32_t peekBits(std::int32_t count);
  /// Returns 32 bits without moving and without changing the error. Whole bytes are read also after an error.
  std::uint32_t peek32();

  /// Moves to the byte boundary `count` bytes after the start of the current byte; a negative count moves back. A step
  /// past the end stops there and sets the error; a step before the start stops there without one.
  void skipBytes(std::int32_t count);
  /// Moves by bits, with the same limits. Returns how many were passed, negative when moving back.
  std::int32_t skipBits(std::int32_t count);
  /// Moves to the next byte if the current one is partly read.
  void align();

  void mark() { mark_ = position_; }
  /// Moves back to the mark and clears the error.
  void backToMark();

  /// A partly read byte counts as left.
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
