#pragma once

#include <cstddef>
#include <span>

#include "util/ByteBuffer.h"

namespace ruvo::k2rpkgutil {

// The boxes in which a track keeps its codec's configuration. Only the configuration itself is looked at when they are
// read: other boxes may stand around them.

/// An `avcC` box (ISO/IEC 14496-15, 5.3.4) around a decoder configuration record.
qvs::util::ByteBuffer makeAvcCBox(std::span<const std::byte> record);
/// An `esds` box (14496-14, 5.6) around an AAC configuration. Throws std::out_of_range from 2^28 - 32 bytes on.
qvs::util::ByteBuffer makeEsdsBox(std::span<const std::byte> config);

/// The first `avcC` box in codec header bytes, its 8-byte header included. A view of `header`; empty where there is
/// none or its size is not that of a box inside the bytes.
std::span<const std::byte> findAvcCBox(const qvs::util::ByteBuffer& header);
/// The AAC configuration in the first `esds` box. A view of `header`; empty where there is none or it is cut short.
std::span<const std::byte> findAacConfig(const qvs::util::ByteBuffer& header);
/// From the first `sinf` box to the end of the bytes, whatever its size says. A view of `header`; empty where there is
/// none.
std::span<const std::byte> fromSinfBox(const qvs::util::ByteBuffer& header);

}  // namespace ruvo::k2rpkgutil
