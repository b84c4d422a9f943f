#pragma once

#include <cstdint>

#include "platform/container/FragmentPlan.h"
#include "platform/container/OpenFragment.h"
#include "util/bytes.h"

namespace krvo::container {

/// Appends `afra`, `abst`, `moof` and the header of the `mdat` that the fragment's tags go into: `plan.boxesSize()`
/// bytes. Throws std::out_of_range where a sample lies 2^31 bytes or more behind the start of the `moof`.
///
///     afra  full box; u8 0xC0 (32-bit ids, 64-bit offsets), u32 timescale 1000, u32 count,
///           then u64 time, u64 offset from the start of this box, count times
///     abst  full box around the body
///     moof  ISO/IEC 14496-12, 8.8.4; a `traf` for each track that has samples
void writeFragmentBoxes(qvs::util::ByteWriter& out, const FragmentPlan& plan, const OpenFragment& fragment,
                        std::uint32_t sequenceNumber);

}  // namespace krvo::container
