#pragma once

#include <vector>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

/// Reads the `traf` boxes of the fragment's `moof` (ISO/IEC 14496-12, 8.8.4 to 8.8.8 and 8.8.12). Throws SegmentError
/// for what is malformed, for a base other than the `moof`, for a track that `movie` does not have or that comes twice,
/// for a sample of no bytes or outside the `mdat`, and for more samples than its tags have room for. Fields that a
/// `trun` leaves out come from the `tfhd`. Those that this leaves out come from the `trex`, whose values are always 1,
/// 0, 0, 0, since readMovie() refuses others.
std::vector<TrackFragment> readTrackFragments(Source& source, const FragmentBoxes& boxes, const Movie& movie);

}  // namespace krvo::container
