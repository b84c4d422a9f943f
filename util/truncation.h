#pragma once

#include <cstdint>
#include <limits>

namespace qvs::util {

/// `value` truncated toward zero. What the type cannot hold counts as its nearest value; not-a-number gives 0.
constexpr std::int64_t truncateToInt64(double value) {
  constexpr double kBound = 0x1p63;
  using Limits = std::numeric_limits<std::int64_t>;
  if (value >= kBound) return Limits::max();
  if (value < -kBound) return Limits::min();
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

}  // namespace qvs::util
