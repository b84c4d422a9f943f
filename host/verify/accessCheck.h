#pragma once

#include "fragmentation/AfraIndex.h"
#include "host/verify/FragmentCheck.h"
#include "platform/container/reading/RandomAccessTable.h"

namespace host {

/// Compares the entries of a fragment's `afra` with its tags. Each entry must point to the start of a tag at which a
/// decoder can start, and have its time; no tag for which every recorder writes an entry may be without one. Times are
/// in ms since the recording's base time, offsets count from the start of the `afra`.
void checkAccessEntries(const SegmentContext& segment, const FragmentContent& content,
                        const ruvo::k2r::AfraIndex& afra);

/// Compares the `mfra` of a segment (ISO/IEC 14496-12, 8.8.9) with the table that its fragments produce. `torn` is the
/// severity of a box that cannot be read.
void checkRandomAccess(const SegmentContext& segment, const krvo::container::BoxSpan& mfra,
                       const krvo::container::RandomAccessTable& expected, Severity torn);

}  // namespace host
