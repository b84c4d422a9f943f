#pragma once

#include "platform/container/reading/Movie.h"
#include "util/bytes.h"

namespace krvo::container {

/// Appends the header of a segment, `ftyp` and `moov`: a `trak` for each track, with empty sample tables, and an `mvex`
/// with one `trex` each (ISO/IEC 14496-12, 8.2 and 8.8). Boxes have version 1 if a time needs 64 bits. It is beside the
/// readers because who reads a segment compares its header with what a recorder writes. Throws std::out_of_range for a
/// number that its field does not hold.
void writeHeader(qvs::util::ByteWriter& out, const Movie& movie);

/// The language code of an `mdhd` (8.4.2): three letters of five bits each.
std::uint16_t packLanguage(const std::array<char, 3>& letters);
std::array<char, 3> unpackLanguage(std::uint16_t packed);

}  // namespace krvo::container
