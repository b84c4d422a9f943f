#pragma once

#include <cstdint>

namespace ruvo::k2rpkgutil {

/// A point in time or a duration, as a count of units and their rate. A plain value without an owner or a thread.
struct MediaTime {
  std::uint64_t value = 0;
  /// Units in a second. 0 is treated as 1, so that a damaged track header cannot cause a division by zero.
  std::uint32_t timescale = 1000;

  /// Returns the same time in units of `target` a second, rounded half up. Computed in double precision, so values
  /// above 2^53 lose low bits; results beyond 64 bits become the largest 64-bit value. A `target` of 0 returns 0.
  std::uint64_t in(std::uint32_t target) const;
};

}  // namespace ruvo::k2rpkgutil
