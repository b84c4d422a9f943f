#pragma once

#include <cstdint>

#include "platform/container/FragmentPlan.h"
#include "platform/container/OpenFragment.h"
#include "util/bytes.h"

namespace krvo::container {

/// Appends `afra`, `abst`, `moof` and the header of the `mdat` for the fragment's tags: `plan.boxesSize()` bytes.
/// Throws std::out_of_range if a sample is 2^31 bytes or more after the start of the `moof`.
///
///     afra  full box; u8 0xC0 (32-bit ids, 64-bit offsets), u32 timescale 1000, u32 count,
///           then u64 time, u64 offset from the start of this box, count times
///     abst  full box around the body
///     moof  ISO/IEC 14496-12, 8.8.4 to 8.8.8 and 8.8.12: an `mfhd`, and for each track with samples a `traf` with one
///           `tfhd`, one `tfdt` of version 1 and its `trun` boxes
///     mdat  8.1.1, with a 64-bit size if 32 bits do not suffice
void writeFragmentBoxes(qvs::util::ByteWriter& out, const FragmentPlan& plan, const OpenFragment& fragment,
                        std::uint32_t sequenceNumber);

}  // namespace krvo::container
