#pragma once

#include <cstddef>
#include <span>

#include "platform/container/OpenFragment.h"
#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Movie.h"

namespace krvo::container {

// From a sample record to the samples of a tag. Offsets count from the start of the tag, times are in the track's
// timescale. Each function throws StatusError(kKrvoBadArgument) for numbers that contradict each other, and
// std::out_of_range for a time that does not fit.

/// The sample of the hint track: the whole tag. Its length is that of the record, which must not be 0.
Sample hintSample(const Track& track, const K2MSampleInfo& info);
/// The sample of a media track: the part `media` of the tag. In an AVC track the composition offset of the record and
/// the one in the tag, clear or protected, are added.
Sample mediaSample(const Track& track, std::span<const std::byte> tag, const K2MSampleInfo& info,
                   const K2MMediaRange& media);
/// The entry of the `afra` for this tag. Its time is in ms, whatever the timescales of record and track.
AccessPoint accessPoint(const K2MSampleInfo& info);

}  // namespace krvo::container
