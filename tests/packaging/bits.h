#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace test {

/// The bytes of a text of bits, blanks ignored, filled up with zero bits.
inline std::vector<std::byte> fromBits(std::string_view text) {
  std::vector<std::byte> bytes;
  int filled = 8;
  for (const char c : text) {
    if (c == ' ') continue;
    if (filled == 8) {
      bytes.emplace_back();
      filled = 0;
    }
    if (c == '1') bytes.back() |= std::byte{1} << (7 - filled);
    ++filled;
  }
  return bytes;
}

}  // namespace test
