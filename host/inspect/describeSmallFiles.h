#pragma once

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/output.h"

namespace host {

// The fields of a recording's small files. Entries whose numbers need an explanation have it as `meaning`.

/// Times are in the timescale of the box, which is 1000 in a recorder's files.
Json describeBootstrap(const ruvo::k2r::BootstrapInfo& info);
/// Positions are bytes of the segment file.
Json describeIndex(const ruvo::k2r::AfraIndex& index);
/// The local entries of an index. The index in a fragment has no others.
Json describeAccessEntries(const ruvo::k2r::AfraIndex& index);

}  // namespace host
