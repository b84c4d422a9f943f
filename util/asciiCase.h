#pragma once

#include <algorithm>
#include <string_view>

namespace qvs::util {

// Names of script data and commands compare without case in ASCII only. The functions of <cctype> would go by the
// host's locale: in a Turkish one "WIDTH" is another name than "width".

constexpr char lowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// Orders texts without regard to case, by their bytes otherwise.
constexpr bool lessInAnyCase(std::string_view left, std::string_view right) {
  return std::ranges::lexicographical_compare(left, right, [](char a, char b) {
    return static_cast<unsigned char>(lowerCase(a)) < static_cast<unsigned char>(lowerCase(b));
  });
}

constexpr bool equalInAnyCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, lowerCase, lowerCase);
}

}  // namespace qvs::util
