#include "util/typeconvertor.h"

namespace qvs::util {
namespace {

unsigned byteAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

bool isContinuation(std::string_view text, std::size_t at) {
  return at < text.size() && (byteAt(text, at) & 0xC0) == 0x80;
}

unsigned low6(std::string_view text, std::size_t at) {
  return byteAt(text, at) & 0x3F;
}

}  // namespace

Utf8Unit frontOfUtf8(std::string_view text) {
  const unsigned first = byteAt(text, 0);
  if (first < 0x80) return {static_cast<char16_t>(first), 1};
  // 0xC0 and 0xC1 would begin a two-byte form of what fits one byte: one text could then be spelt in two ways.
  if (first < 0xC2 || first > 0xEF || !isContinuation(text, 1)) return {};
  if (first < 0xE0) return {static_cast<char16_t>((first & 0x1F) << 6 | low6(text, 1)), 2};
  // isContinuation(1) above has checked that the second byte exists.
  const bool isOverlong = first == 0xE0 && byteAt(text, 1) < 0xA0;
  if (isOverlong || !isContinuation(text, 2)) return {};
  return {static_cast<char16_t>((first & 0x0F) << 12 | low6(text, 1) << 6 | low6(text, 2)), 3};
}

std::optional<std::size_t> utf8ToUnits(std::string_view utf8, char16_t* out) {
  std::size_t count = 0;
  while (!utf8.empty()) {
    const Utf8Unit front = frontOfUtf8(utf8);
    if (front.size == 0) return std::nullopt;
    out[count++] = front.unit;
    utf8.remove_prefix(front.size);
  }
  return count;
}

std::u16string utf8ToUnitsLeniently(std::string_view utf8) {
  std::u16string units;
  while (!utf8.empty()) {
    Utf8Unit front = frontOfUtf8(utf8);
    if (front.size == 0) front = {static_cast<char16_t>(byteAt(utf8, 0)), 1};
    units.push_back(front.unit);
    utf8.remove_prefix(front.size);
  }
  return units;
}

std::size_t unitsToUtf8(std::u16string_view units, char* out) {
  char* end = out;
  for (const unsigned unit : units) {
    if (unit < 0x80) {
      *end++ = static_cast<char>(unit);
    } else if (unit < 0x800) {
      *end++ = static_cast<char>(0xC0 | unit >> 6);
      *end++ = static_cast<char>(0x80 | (unit & 0x3F));
    } else {
      *end++ = static_cast<char>(0xE0 | unit >> 12);
      *end++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
      *end++ = static_cast<char>(0x80 | (unit & 0x3F));
    }
  }
  return static_cast<std::size_t>(end - out);
}

}  // namespace qvs::util
