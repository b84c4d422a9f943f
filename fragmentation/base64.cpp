#include "fragmentation/base64.h"

#include <algorithm>

#include "util/bytes.h"

namespace ruvo::k2r {

std::string base64Encode(std::span<const std::byte> data) {
  constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::size_t kGroup = 3;
  std::string text;
  text.reserve((data.size() + 2) / kGroup * 4);
  for (; !data.empty(); data = data.subspan(std::min(data.size(), kGroup))) {
    const std::size_t count = std::min(data.size(), kGroup);
    const std::uint64_t bits = qvs::util::loadBigEndian(data.data(), count) << 8 * (kGroup - count);
    for (const unsigned shift : {18U, 12U, 6U, 0U}) text += kAlphabet[bits >> shift & 63];
    // A last group of one byte ends in two "=", one of two bytes in one; the characters under them were zero bits.
    for (std::size_t i = count; i < kGroup; ++i) text[text.size() - kGroup + i] = '=';
  }
  return text;
}

}  // namespace ruvo::k2r
