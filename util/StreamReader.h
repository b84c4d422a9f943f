#pragma once

#include <cstdint>
#include <istream>
#include <string>

#include "util/ExceptionMask.h"

namespace qvs::util {

/// Reads big-endian fields from a stream's current position. During its lifetime all stream exceptions are on, so that
/// an input that ends early throws the stream's own std::ios_base::failure; the destructor restores the old mask. What
/// a failed read has consumed is not put back. The stream outlives it. Belongs to one thread.
///
/// The same operations as ByteReader, but without `need` and `remaining`: a stream does not show how much is left.
class StreamReader {
 public:
  /// Also throws std::ios_base::failure if the stream has already failed or ended.
  explicit StreamReader(std::istream& in)
      : in_(in), mask_(in, std::ios_base::eofbit | std::ios_base::failbit | std::ios_base::badbit) {}

  // Unsigned, the highest byte first.
  std::uint8_t u8() { return static_cast<std::uint8_t>(take(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(take(2)); }
  std::uint32_t u24() { return static_cast<std::uint32_t>(take(3)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(take(4)); }
  std::uint64_t u64() { return take(8); }
  /// IEEE 754 double precision.
  double f64();
  /// The text up to a zero byte, which is consumed and not part of the result. Its length has no limit but the
  /// stream's.
  std::string zeroTerminated();
  /// The next `count` bytes. Memory grows with what was read, in steps of 64 KiB, so a false count costs nothing.
  std::string bytes(std::uint64_t count);
  /// Reads over `count` bytes; it does not seek, since the stream may not be able to.
  void skip(std::uint64_t count);

 private:
  /// A number of `width` bytes, up to 8.
  std::uint64_t take(int width);

  std::istream& in_;
  ExceptionMask mask_;
};

}  // namespace qvs::util
