#include "packaging/MediaTime.h"

#include <limits>

namespace ruvo::k2rpkgutil {

std::uint64_t MediaTime::in(std::uint32_t target) const {
  constexpr double kTooLarge = 18446744073709551616.0;  // 2^64
  const double units = timescale == 0 ? 1.0 : timescale;
  // Divide first, then multiply: the other order rounds differently, and the result is in the headers of existing
  // files.
  const double converted = static_cast<double>(value) / units * target + 0.5;
  // A conversion of 2^64 or more to an integer is undefined behaviour, so the range check comes first.
  return converted < kTooLarge ? static_cast<std::uint64_t>(converted) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace ruvo::k2rpkgutil
