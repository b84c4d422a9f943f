#pragma once

#include "platform/container/Movie.h"
#include "util/bytes.h"

namespace krvo::container {

/// Appends `ftyp` and `moov` of a segment: a `trak` for each track, with empty sample tables, and an `mvex` with one
/// `trex` each (ISO/IEC 14496-12, 8.2 and 8.8). Boxes are of version 1 where a time needs 64 bits. Throws
/// std::out_of_range for a number that its field does not hold.
void writeHeader(qvs::util::ByteWriter& out, const Movie& movie);

/// The language of a track as `mdhd` has it: three times five bits.
std::uint16_t packLanguage(const std::array<char, 3>& letters);
std::array<char, 3> unpackLanguage(std::uint16_t packed);

}  // namespace krvo::container
