#pragma once

#include <cctype>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// Bytes as groups of four in lower case, with a blank between groups: "00000018 7472756e".
inline std::string hex(std::span<const std::byte> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i != 0 && i % 4 == 0) text += ' ';
    const auto value = std::to_integer<unsigned>(bytes[i]);
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
  }
  return text;
}

/// The same for bytes that is in a string.
inline std::string hex(std::string_view bytes) {
  return hex(std::as_bytes(std::span(bytes.data(), bytes.size())));
}

/// The bytes of such a text; white space may stand anywhere. Throws std::invalid_argument for what is not hex, or for
/// an odd number of digits.
inline std::vector<std::byte> fromHex(std::string_view text) {
  std::vector<std::byte> bytes;
  unsigned value = 0;
  bool half = false;
  for (const char c : text) {
    const auto symbol = static_cast<unsigned char>(c);
    if (std::isspace(symbol) != 0) continue;
    if (std::isxdigit(symbol) == 0) throw std::invalid_argument("not hex: " + std::string(text));
    value = value << 4 | static_cast<unsigned>(std::isdigit(symbol) != 0 ? c - '0' : std::tolower(symbol) - 'a' + 10);
    if (half) bytes.push_back(static_cast<std::byte>(value & 0xFF));
    half = !half;
  }
  if (half) throw std::invalid_argument("odd number of hex digits: " + std::string(text));
  return bytes;
}

}  // namespace test
