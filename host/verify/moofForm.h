#pragma once

#include "host/verify/FragmentCheck.h"

namespace host {

/// Checks what the sample list of a `moof` (ISO/IEC 14496-12, 8.8.4) does not show: that it has no boxes but those that
/// samples need, each with the version, flags and sample flags that a recorder writes. Throws SegmentError if a box is
/// malformed. Players accept much that a recorder never writes; such a box was changed or comes from another program.
void checkMoofForm(const SegmentContext& segment, const krvo::container::BoxSpan& moof);

}  // namespace host
