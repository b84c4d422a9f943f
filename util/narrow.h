#pragma once

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace qvs::util {

/// The same value in another integer type, for sizes and counts on their way to a field of a box. Throws
/// std::out_of_range if it does not fit: a cast would write a wrong size, and everything after it would be misread.
template <typename To, typename From>
constexpr To narrow(From value) {
  static_assert(std::is_integral_v<To> && std::is_integral_v<From>);
  if (!std::in_range<To>(value)) throw std::out_of_range("a number does not fit its field");
  return static_cast<To>(value);
}

}  // namespace qvs::util
