#pragma once

#include <cstdint>
#include <vector>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

// Reading a fragment that begins at a known position. Every function throws SegmentError for what is malformed.

/// Reads the headers of the four boxes at `position`. All four are whole: the last one ends inside the file. Their
/// content is not looked at.
FragmentBoxes locateFragment(Source& source, std::uint64_t position);
/// The number in the `mfhd` (ISO/IEC 14496-12, 8.8.5) at the front of a `moof`. Reads only that box. An append can
/// continue with it even if the rest of the `moof` is damaged.
std::uint32_t readSequenceNumber(Source& source, const BoxSpan& moof);
/// Reads everything but the `mdat`. Every sample is inside the `mdat`, and its track is in `movie`.
Fragment readFragment(Source& source, std::uint64_t position, const Movie& movie);
/// The tags that fill the `mdat`, each with the right back pointer. Reads headers and back pointers only. The first tag
/// that does not fit ends the reading with an error that names its offset.
std::vector<StoredTag> readTags(Source& source, const BoxSpan& mdat);

}  // namespace krvo::container
