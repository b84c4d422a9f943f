#pragma once

#include <cstdint>

namespace qvs::util {

/// For conversions between milliseconds and the units of a timescale. Fits into any integer type of 16 bits and more.
inline constexpr std::int64_t kMillisecondsPerSecond = 1000;

}  // namespace qvs::util
