#pragma once

#include "host/verify/FragmentCheck.h"

namespace host {

/// Checks what the samples of a `moof` do not show: that it has no other boxes than the samples need, and of each the
/// version, flags and sample flags that a recorder writes. Throws SegmentError where a box is malformed.
void checkMoofForm(const SegmentContext& segment, const krvo::container::BoxSpan& moof);

}  // namespace host
