#pragma once

#include <cstdint>

namespace ruvo::k2rpkgutil {

/// A point or span of time in units of its own.
struct MediaTime {
  std::uint64_t value = 0;
  /// Units a second; 0 is taken as 1.
  std::uint32_t timescale = 1000;

  /// The same time in units of another timescale, rounded in double precision; what 64 bits cannot hold becomes their
  /// maximum.
  std::uint64_t in(std::uint32_t target) const;
};

}  // namespace ruvo::k2rpkgutil
