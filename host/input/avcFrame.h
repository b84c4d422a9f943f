#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "host/input/avcConfig.h"

namespace host {

/// The NAL units of a frame in which a big-endian length of `lengthSize` bytes (1, 2 or 4) comes before each (ISO/IEC
/// 14496-15, 5.3.3). Nothing if the lengths do not fit the frame; units of no bytes are left out. Views of `frame`.
std::optional<std::vector<NalUnit>> nalUnits(std::span<const std::byte> frame, std::size_t lengthSize);

/// Whether decoding can begin with a frame of the same form: its first slice is that of an IDR picture, or comes after
/// a recovery point (ITU-T H.264, D.1.8), as in open groups of pictures. Nothing if the frame has no slice, or no slice
/// before the first length that does not fit. Looks at no byte after the first of that slice.
std::optional<bool> isKeyPicture(std::span<const std::byte> frame, std::size_t lengthSize);

/// The sets to insert into a key frame with these `units`. If one of `wanted` is missing it is all of them: a decoder
/// drops picture sets when the sequence set changes to which they refer. Views of `wanted`.
std::vector<NalUnit> missingSets(std::span<const NalUnit> units, const ParameterSets& wanted);

/// The data of a video message: `header` unchanged, then `units`, with `sets` inserted after a leading access unit
/// delimiter. Each unit and set gets a length of `lengthSize` bytes, which it must fit.
std::vector<std::byte> avcFrameWith(std::span<const NalUnit> sets, std::span<const NalUnit> units,
                                    std::span<const std::byte> header, std::size_t lengthSize);

}  // namespace host
