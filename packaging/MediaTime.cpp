#include "packaging/MediaTime.h"

#include <limits>

namespace ruvo::k2rpkgutil {

std::uint64_t MediaTime::in(std::uint32_t target) const {
  constexpr double kTooLarge = 18446744073709551616.0;  // 2^64
  const double units = timescale == 0 ? 1.0 : timescale;
  const double converted = static_cast<double>(value) / units * target + 0.5;
  return converted < kTooLarge ? static_cast<std::uint64_t>(converted) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace ruvo::k2rpkgutil
