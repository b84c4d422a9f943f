#pragma once

#include <cstdint>
#include <istream>
#include <string>

#include "util/ExceptionMask.h"
#include "util/fourcc.h"

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

/// The header of a box on a stream, with the version and flags of a full box (ISO/IEC 14496-12, 4.2).
struct BoxHeader {
  /// Whole box in bytes. A stored size of 0 leaves it as it was.
  std::uint64_t size = 0;
  FourCC type = 0;
  /// The 16 bytes of a `uuid` box, else empty.
  std::string uuid;
  std::uint8_t version = 0;
  std::uint32_t flags = 0;

  bool operator==(const BoxHeader&) const = default;
};

/// Reads size, type, a 64-bit size and a `uuid` where they are there, version and flags.
BoxHeader readFullBoxHeader(StreamReader& in);

}  // namespace qvs::util
