#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "util/bytes.h"

namespace ruvo::k2rpkgutil {

/// One entry of a hint description. The first and the last byte are stored unchanged.
struct HintDescriptionEntry {
  std::uint8_t first = 0;
  /// Each value above zero sets one bit of the entry's second byte: the first 0x80, the last 0x08.
  std::array<std::uint8_t, 5> flags{};
  std::uint8_t last = 0;
};

/// Appends the `amhp` box (a full box of ISO/IEC 14496-12, 4.2), which is the codec header of a hint track.
///
///     0  u32  box size, 13 + 3 n      12  u8  entry count n, at most 255
///     4  u32  'amhp'                  13  u8  first, u8 flags, u8 last, n times
///     8  u32  version and flags, 0
///
/// With `timeOffset`, 12 bytes follow the box that its size does not count: u32 12, 'amto', u32 offset. Throws
/// std::out_of_range above 255 entries; `out` then ends in half a box.
void writeHintDescription(qvs::util::ByteWriter& out, std::span<const HintDescriptionEntry> entries,
                          std::optional<std::uint32_t> timeOffset = std::nullopt);

}  // namespace ruvo::k2rpkgutil
