#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qvs::util {

/// A four-character code: box type, handler type or sample format. The first character is in the highest byte, so that
/// the number written in big-endian order gives the characters.
using FourCC = std::uint32_t;

/// "moof"_4cc is 0x6D6F6F66. Computed by the compiler; a literal of any other length does not compile.
consteval FourCC operator""_4cc(const char* text, std::size_t length) {
  if (length != 4) throw "a four-character code has four characters";
  FourCC code = 0;
  for (std::size_t i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// The four characters, highest byte first. They may be any bytes, zeros included.
inline std::string toText(FourCC code) {
  return {static_cast<char>(code >> 24), static_cast<char>(code >> 16), static_cast<char>(code >> 8),
          static_cast<char>(code)};
}

}  // namespace qvs::util
