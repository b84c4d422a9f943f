#include "host/input/annexB.h"

#include <cstring>

#include "util/narrow.h"

namespace host {
namespace {

constexpr std::size_t kStartCodeSize = 3;

/// Offset of the next 00 00 01 at or after `from`; the size of the stream if there is none.
std::size_t findStartCode(std::span<const std::byte> stream, std::size_t from) {
  for (std::size_t at = from + 2; at < stream.size(); ++at) {
    // Searching for the 1 is much faster than comparing three bytes everywhere: frames have few of them.
    const void* const one = std::memchr(stream.data() + at, 1, stream.size() - at);
    if (one == nullptr) break;
    at = static_cast<std::size_t>(static_cast<const std::byte*>(one) - stream.data());
    if (stream[at - 1] == std::byte{0} && stream[at - 2] == std::byte{0}) return at - 2;
  }
  return stream.size();
}

/// Zeros at the end belong to the next start code, or are padding. A NAL unit ends in a byte that is not 0.
NalUnit withoutTrailingZeros(NalUnit unit) {
  while (!unit.empty() && unit.back() == std::byte{0}) unit = unit.first(unit.size() - 1);
  return unit;
}

}  // namespace

std::vector<NalUnit> splitAnnexB(std::span<const std::byte> stream) {
  std::vector<NalUnit> units;
  std::size_t code = findStartCode(stream, 0);
  while (code < stream.size()) {
    const std::size_t begin = code + kStartCodeSize;
    code = findStartCode(stream, begin);
    const NalUnit unit = withoutTrailingZeros(stream.subspan(begin, code - begin));
    if (!unit.empty()) units.push_back(unit);
  }
  return units;
}

void writeLengthPrefixed(qvs::util::ByteWriter& out, std::span<const std::byte> stream) {
  for (const NalUnit unit : splitAnnexB(stream)) {
    out.u32(qvs::util::narrow<std::uint32_t>(unit.size()));
    out.bytes(unit);
  }
}

}  // namespace host
