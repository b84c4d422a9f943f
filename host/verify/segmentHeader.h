#pragma once

#include "host/files/FileView.h"
#include "host/files/SegmentMap.h"
#include "host/verify/Findings.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// Checks `ftyp` and `moov` of a segment, if they exist, and returns the content of `moov`; without tracks if it cannot
/// be read. The bytes are compared with the header that a recorder writes for the same tracks, so boxes that nothing
/// reads are checked, too.
krvo::container::Movie checkHeader(FileView& file, const SegmentMap& map, const FileFindings& out);

/// Checks that `movie` has the same tracks as `first`, as all segments of a recording must. `moov` is the offset of the
/// box that contains those of `movie`.
void compareTracks(const krvo::container::Movie& first, const krvo::container::Movie& movie, std::uint64_t moov,
                   const FileFindings& out);

}  // namespace host
