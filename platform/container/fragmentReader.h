#pragma once

#include <cstdint>
#include <vector>

#include "platform/container/Fragment.h"
#include "platform/container/Movie.h"
#include "platform/container/Source.h"

namespace krvo::container {

// Reading a fragment that begins at a known position. Everything throws SegmentError for what is not of its form.

/// Finds the boxes by their headers.
FragmentBoxes locateFragment(Source& source, std::uint64_t position);
/// Of the `mfhd` at the front of a `moof`; reads no more than that.
std::uint32_t readSequenceNumber(Source& source, const BoxSpan& moof);
/// Reads all but the `mdat`. The samples lie in this, and their tracks in `movie`.
Fragment readFragment(Source& source, std::uint64_t position, const Movie& movie);
/// The tags that fill the `mdat`, each within it and with the right back pointer. Reads their headers only.
std::vector<StoredTag> readTags(Source& source, const BoxSpan& mdat);

}  // namespace krvo::container
