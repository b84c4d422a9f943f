#pragma once

#include <algorithm>
#include <string_view>

namespace qvs::util {

// Names of script data and commands are compared without case, in ASCII only. The functions of <cctype> depend on the
// host's locale: in a Turkish one "WIDTH" and "width" would be different names.

/// The lower-case letter of A to Z; any other byte, UTF-8 included, as it is.
constexpr char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// Orders texts without regard to case, otherwise by their bytes as unsigned numbers. A strict weak order, for maps.
constexpr bool lessInAnyCase(std::string_view left, std::string_view right) {
  return std::ranges::lexicographical_compare(left, right, [](char a, char b) {
    return static_cast<unsigned char>(lowerCase(a)) < static_cast<unsigned char>(lowerCase(b));
  });
}

/// Equal without regard to case; consistent with lessInAnyCase.
constexpr bool equalInAnyCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, lowerCase, lowerCase);
}

}  // namespace qvs::util
