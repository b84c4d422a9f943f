#pragma once

#include <cstdint>
#include <istream>
#include <string>

#include "util/ExceptionMask.h"

namespace qvs::util {

/// Reads big-endian fields from a stream's current position. While it lives all stream exceptions are on, so that an
/// input that ends early raises the stream's own std::ios_base::failure; the old mask is back when it goes.
class StreamReader {
 public:
  /// Throws that failure, too, where the stream has already failed.
  explicit StreamReader(std::istream& in)
      : in_(in), mask_(in, std::ios_base::eofbit | std::ios_base::failbit | std::ios_base::badbit) {}

  std::uint8_t u8() { return static_cast<std::uint8_t>(take(1)); }
  std::uint16_t u16() { return static_cast<std::uint16_t>(take(2)); }
  std::uint32_t u24() { return static_cast<std::uint32_t>(take(3)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(take(4)); }
  std::uint64_t u64() { return take(8); }
  double f64();
  /// Text up to a zero byte, which is read and not part of the result.
  std::string zeroTerminated();
  /// `count` bytes. Memory grows with what is read, not with `count`.
  std::string bytes(std::uint64_t count);
  void skip(std::uint64_t count);

 private:
  std::uint64_t take(int width);

  std::istream& in_;
  ExceptionMask mask_;
};

}  // namespace qvs::util
