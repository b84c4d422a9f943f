#pragma once

#include "fragmentation/AfraIndex.h"
#include "host/verify/FragmentCheck.h"
#include "platform/container/RandomAccessTable.h"

namespace host {

/// Holds the entries of a fragment's `afra` against its tags: each one at the start of a tag where a decoder can start,
/// with its time, and none of those missing that every recorder notes.
void checkAccessEntries(const SegmentContext& segment, const FragmentContent& content,
                        const ruvo::k2r::AfraIndex& afra);

/// Holds the `mfra` of a segment against the table that its fragments make. `torn` is how bad one is that cannot be
/// read.
void checkRandomAccess(const SegmentContext& segment, const krvo::container::BoxSpan& mfra,
                       const krvo::container::RandomAccessTable& expected, Severity torn);

}  // namespace host
