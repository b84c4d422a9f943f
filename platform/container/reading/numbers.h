#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace krvo::container {

/// `value` as a fixed-point number with `fractionBits` bits of fraction. These fields only describe how something is
/// shown, so a value out of range becomes the nearest value in range, and NaN becomes 0, instead of an error.
template <typename To>
To toFixed(float value, int fractionBits) {
  const double scaled = std::round(std::ldexp(static_cast<double>(value), fractionBits));
  if (!(scaled > 0)) return 0;
  if (scaled >= static_cast<double>(std::numeric_limits<To>::max())) return std::numeric_limits<To>::max();
  return static_cast<To>(scaled);
}

/// The inverse of toFixed().
template <typename From>
float fromFixed(From value, int fractionBits) {
  return static_cast<float>(std::ldexp(static_cast<double>(value), -fractionBits));
}

/// Converts a time from the timescale `from` to the timescale `to`, rounded to the nearest. Neither is 0. Throws
/// std::out_of_range if the result does not fit. Computed in whole numbers: a double would lose ticks in times beyond
/// 53 bits.
std::uint64_t rescale(std::uint64_t value, std::uint32_t from, std::uint32_t to);
std::int32_t rescale(std::int32_t value, std::uint32_t from, std::uint32_t to);

}  // namespace krvo::container
