#pragma once

#include <array>
#include <cstdint>
#include <functional>

#include "platform/container/reading/Movie.h"
#include "util/bytes.h"

namespace krvo::container {

/// Appends the header of a segment, `ftyp` and `moov`: a `trak` for each track, with empty sample tables, and an `mvex`
/// with one `trex` each (ISO/IEC 14496-12, 8.2 and 8.8). Boxes have version 1 if a time needs 64 bits. It is beside the
/// readers because who reads a segment compares its header with what a recorder writes. Throws std::out_of_range for a
/// number that does not fit its field.
///
///     ftyp                                       4.3: major brand iso6, then iso6, isom, mp41
///     moov  mvhd                                 8.2.2
///           trak  tkhd  tref of the hint track   8.3.2, 8.3.3
///                 mdia  mdhd  hdlr               8.4.2, 8.4.3
///                       minf  vmhd, smhd, hmhd or nmhd;  dinf;  stbl  8.4.5, 8.7.2, 8.5.1
///           mvex  trex for each track            8.8.1, 8.8.3
void writeHeader(qvs::util::ByteWriter& out, const Movie& movie);

/// Appends boxes of a track.
using TrackBoxWriter = std::function<void(qvs::util::ByteWriter& out, const Track& track)>;
/// What the `moov` of a file without fragments has in addition to the fields of Movie.
struct TrackBoxWriters {
  /// The duration of a track after its edits, for the `tkhd`, in the movie's timescale; null for that of the track.
  std::function<std::uint64_t(const Track& track)> duration;
  /// The `edts` (8.6.5); null for none.
  TrackBoxWriter edits;
  /// The tables of the `stbl` after its `stsd`.
  TrackBoxWriter tables;
};

/// Appends the `moov` of a file whose samples are all in its tables. Throws as writeHeader() does, and what the writers
/// throw.
void writeMovie(qvs::util::ByteWriter& out, const Movie& movie, const TrackBoxWriters& writers);

/// The language code of an `mdhd` (8.4.2): three letters of five bits each. The letters are lower-case.
std::uint16_t packLanguage(const std::array<char, 3>& letters);
/// The inverse. Any value gives three characters, though not always letters.
std::array<char, 3> unpackLanguage(std::uint16_t packed);

}  // namespace krvo::container
