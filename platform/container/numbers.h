#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace krvo::container {

/// `value` as a fixed-point number of which `fractionBits` are the fraction. These fields only describe how something
/// is shown, so that a value out of their range becomes the nearest in it, and what is no number 0.
template <typename To>
To toFixed(float value, int fractionBits) {
  const double scaled = std::round(std::ldexp(static_cast<double>(value), fractionBits));
  if (!(scaled > 0)) return 0;
  if (scaled >= static_cast<double>(std::numeric_limits<To>::max())) return std::numeric_limits<To>::max();
  return static_cast<To>(scaled);
}

template <typename From>
float fromFixed(From value, int fractionBits) {
  return static_cast<float>(std::ldexp(static_cast<double>(value), -fractionBits));
}

/// `value` / `from` seconds in units of 1 / `to` seconds, rounded to the nearest. Neither scale is 0. Throws
/// std::out_of_range where the result does not fit.
std::uint64_t rescale(std::uint64_t value, std::uint32_t from, std::uint32_t to);
std::int32_t rescale(std::int32_t value, std::uint32_t from, std::uint32_t to);

}  // namespace krvo::container
