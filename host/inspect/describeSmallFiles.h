#pragma once

#include <cstddef>
#include <span>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/output.h"

namespace host {

// What the small files of a recording say, with the meaning of what does not speak for itself.

Json describeBootstrap(const ruvo::k2r::BootstrapInfo& info);
Json describeIndex(const ruvo::k2r::AfraIndex& index);
/// The local entries of an index, which is all that one in a fragment has.
Json describeAccessEntries(const ruvo::k2r::AfraIndex& index);
/// Of a file of script data: the AMF0 text in front. Throws Malformed where there is none.
Json describeScript(std::span<const std::byte> bytes);

}  // namespace host
