#pragma once

#include <cstdint>

#include "fragmentation/BootstrapInfo.h"

namespace qvs::k2r {

/// Whether `later` is `earlier` after more fragments were added, the last of them in `segment`: it has the same runs
/// before the new ones, and no lower version. An end marker of `earlier` is ignored.
///
/// `segment` is the last one of `earlier`, or the next one, if there was a roll-over. The index file of the next one
/// may be left from another recording, so there the rules are stricter: the counts of earlier segments are equal, the
/// time is later, and `earlier` has no end marker, because no segment begins after a stop.
bool isContinuedBy(const ruvo::k2r::BootstrapInfo& earlier, const ruvo::k2r::BootstrapInfo& later,
                   std::uint32_t segment);

}  // namespace qvs::k2r
