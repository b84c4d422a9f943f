#pragma once

#include <cstddef>
#include <span>

#include "platform/container/OpenFragment.h"
#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Movie.h"

namespace krvo::container {

// From a sample record to the samples of a tag; offsets are counted from its start. Each throws
// StatusError(kKrvoBadArgument) for numbers that contradict each other, and std::out_of_range for a time that does not
// fit.

Sample hintSample(const Track& track, const K2MSampleInfo& info);
/// A sample of an AVC track is shown at its composition time: what the record says and the tag, clear or protected.
Sample mediaSample(const Track& track, std::span<const std::byte> tag, const K2MSampleInfo& info,
                   const K2MMediaRange& media);
AccessPoint accessPoint(const K2MSampleInfo& info);

}  // namespace krvo::container
