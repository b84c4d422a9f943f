#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "util/bytes.h"

namespace ruvo::k2rpkgutil {

/// One entry of a hint description.
struct HintDescriptionEntry {
  std::uint8_t first = 0;
  /// Each above zero sets its bit, from 0x80 down to 0x08, in the entry's second byte.
  std::array<std::uint8_t, 5> flags{};
  std::uint8_t last = 0;
};

/// Appends the `amhp` box, the codec header of a hint track.
///
///     0  u32  box size, 13 + 3 n      12  u8  entry count n, at most 255
///     4  u32  'amhp'                  13  u8  first, u8 flags, u8 last, n times
///     8  u32  version and flags, 0
///
/// A time offset stands behind the box and is not counted in its size: u32 12, 'amto', u32 offset.
void writeHintDescription(qvs::util::ByteWriter& out, std::span<const HintDescriptionEntry> entries,
                          std::optional<std::uint32_t> timeOffset = std::nullopt);

}  // namespace ruvo::k2rpkgutil
