#pragma once

#include "host/files/FileView.h"
#include "host/files/SegmentMap.h"
#include "host/verify/Findings.h"
#include "platform/container/Movie.h"

namespace host {

/// Checks `ftyp` and `moov` of a segment, as far as they are there, and answers what `moov` says; without tracks where
/// it cannot be read.
krvo::container::Movie checkHeader(FileView& file, const SegmentMap& map, const FileFindings& out);

/// All segments of a recording have the same tracks: those of `first`. `moov` is where those of `movie` stand.
void compareTracks(const krvo::container::Movie& first, const krvo::container::Movie& movie, std::uint64_t moov,
                   const FileFindings& out);

}  // namespace host
