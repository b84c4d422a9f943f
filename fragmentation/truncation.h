#pragma once

#include <cstdint>

namespace ruvo::k2r {

/// The low 32 bits of `value`, truncated toward zero to a signed 64-bit integer. What that type cannot hold counts as
/// its nearest value, so that huge becomes 0xFFFFFFFF; not-a-number gives 0.
constexpr std::uint32_t truncateTo32Bits(double value) {
  constexpr double kBound = 0x1p63;
  if (!(value > -kBound)) return 0;
  if (value >= kBound) return 0xFFFFFFFF;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

}  // namespace ruvo::k2r
