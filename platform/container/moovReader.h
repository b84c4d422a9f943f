#pragma once

#include "platform/container/Movie.h"
#include "platform/container/boxes.h"

namespace krvo::container {

/// Reads the payload of a `moov`. Boxes that it does not know are passed over. Throws SegmentError for what is missing
/// or malformed, for a track id or timescale of 0, for an id given twice, and for a `trex` with defaults that the
/// writer does not use.
Movie readMovie(LoadedBox& moov);

}  // namespace krvo::container
