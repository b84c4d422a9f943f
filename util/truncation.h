#pragma once

#include <cstdint>
#include <limits>

namespace qvs::util {

/// `value` truncated toward zero. A value beyond 64 bits becomes the nearest inside, not-a-number 0. A plain cast of
/// such a double is undefined, and settings and script data may contain any.
constexpr std::int64_t truncateToInt64(double value) {
  // 2^63 is exact as a double while the greatest int64 is not: comparing with that would let 2^63 through.
  constexpr double kBound = 0x1p63;
  using Limits = std::numeric_limits<std::int64_t>;
  if (value >= kBound) return Limits::max();
  if (value < -kBound) return Limits::min();
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

}  // namespace qvs::util
