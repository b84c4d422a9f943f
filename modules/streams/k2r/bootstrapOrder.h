#pragma once

#include <cstdint>

#include "fragmentation/BootstrapInfo.h"

namespace qvs::k2r {

/// Whether `later` is what `earlier` became when fragments were added behind it, the last of them in `segment`: the
/// same runs stand before the new ones, and the version has not fallen. An end mark of `earlier` does not count.
///
/// `segment` is the last one of `earlier`, or the one that a roll-over began behind it. For the latter, whose index
/// file may be left from another recording, more is asked: what was counted in earlier segments stands exactly, the
/// time has moved on, and `earlier` has no end mark, since nothing begins a segment behind a stop.
bool isContinuedBy(const ruvo::k2r::BootstrapInfo& earlier, const ruvo::k2r::BootstrapInfo& later,
                   std::uint32_t segment);

}  // namespace qvs::k2r
