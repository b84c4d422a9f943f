#pragma once

#include "platform/container/reading/Movie.h"
#include "platform/container/reading/boxes.h"

namespace krvo::container {

/// Reads the payload of a `moov` (ISO/IEC 14496-12, 8.2.1). Boxes of other types are skipped. Throws SegmentError for
/// what is missing or malformed, for a track id or timescale of 0, for an id given twice, and for a `trex` with
/// defaults that the writer does not use.
///
/// Inner boxes may come in any order, as the standard allows: `hdlr`, which gives the form of the sample entries, may
/// follow the `minf` that contains them.
Movie readMovie(LoadedBox& moov);

}  // namespace krvo::container
