#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace qvs::util {

/// Reads the payload of a NAL unit bit by bit and leaves its emulation prevention bytes out (ISO/IEC 14496-10, 7.3.1).
/// Every read past the end returns nothing.
class RbspReader {
 public:
  /// `payload` comes after the header of the NAL unit, is not copied, and outlives the reader.
  explicit RbspReader(std::span<const std::byte> payload) : rest_(payload) {}

  std::optional<std::uint32_t> byte();
  /// 0 or 1, the highest bit of a byte first.
  std::optional<std::uint32_t> bit();
  /// An Exp-Golomb number, ue(v), below 2^32 - 1 (9.1).
  std::optional<std::uint32_t> unsignedGolomb();
  bool atEnd() const { return rest_.empty() && bitsLeft_ == 0; }

 private:
  std::span<const std::byte> rest_;
  std::size_t zeros_ = 0;
  std::uint32_t current_ = 0;
  unsigned bitsLeft_ = 0;
};

}  // namespace qvs::util
