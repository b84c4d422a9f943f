#pragma once

#include <string>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "fragmentation/FragmentDecision.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace test {

// The one textual form that a bootstrap, an index, a decision and a list of samples have in all tests.

/// "1x3 2x1 | 1@0+4000 2@4000!empty end": the segments with how many numbers each has, then the fragment runs:
/// number and time of the first fragment, then the duration of each, or what is marked: a number without data of its
/// own
/// ("empty"), a jump in time, both, or the end.
std::string describe(const ruvo::k2r::BootstrapInfo& bootstrap);

/// "1@0:written 2@4000:none 3@8000:held": number and time of each global entry, and whether it has a place.
std::string describe(const ruvo::k2r::AfraIndex& index);

/// "write 3 [8000,12000) ->open": action, fragment and range, then the state of a fragmenter for video, where it has
/// one; "none ->open" for a decision that does nothing.
std::string describe(const ruvo::k2r::FragmentDecision& decision);

/// "80+40/120!": time, duration, the composition offset unless it is 0, and ! for a sync sample.
std::string describeSample(std::uint64_t time, std::uint64_t duration, std::int64_t compositionOffset, bool sync);

/// "video 80+40/120! 120+40, audio 80+23, 3 tags": the samples of each track of a fragment whose last one is the hint
/// track. One that shares a run with the sample before it is joined to it by ~.
std::string describe(const krvo::container::Fragment& fragment, const krvo::container::Movie& movie);

}  // namespace test
