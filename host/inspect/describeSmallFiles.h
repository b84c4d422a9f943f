#pragma once

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/output.h"

namespace host {

// What the small files of a recording say, with the meaning of what does not speak for itself.

Json describeBootstrap(const ruvo::k2r::BootstrapInfo& info);
Json describeIndex(const ruvo::k2r::AfraIndex& index);
/// The local entries of an index, which is all that one in a fragment has.
Json describeAccessEntries(const ruvo::k2r::AfraIndex& index);

}  // namespace host
