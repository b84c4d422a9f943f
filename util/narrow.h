#pragma once

#include <limits>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace qvs::util {

/// The same value in a narrower integer type. Throws std::out_of_range where it does not fit.
template <typename To, typename From>
constexpr To narrow(From value) {
  static_assert(std::is_integral_v<To> && std::is_integral_v<From>);
  if (!std::in_range<To>(value)) throw std::out_of_range("a number does not fit its field");
  return static_cast<To>(value);
}

}  // namespace qvs::util
