#pragma once

#include <cstddef>
#include <span>

#include "util/ByteBuffer.h"

namespace ruvo::k2rpkgutil {

// The boxes that contain a codec's configuration in a sample description. The finders look for the box at any offset,
// so other boxes may be around it, and check nothing beyond what they return.

/// Makes an `avcC` box (ISO/IEC 14496-15, 5.3.4) around a decoder configuration record, whose content is not checked.
///
///     0  u32  box size      4  u32  'avcC'      8       the record
qvs::util::ByteBuffer makeAvcCBox(std::span<const std::byte> record);

/// Makes an `esds` box (ISO/IEC 14496-14, 5.6) around an AudioSpecificConfig of n bytes. A descriptor (ISO/IEC 14496-1,
/// 7.2.2.1) begins with its tag and a length, here always of four bytes with seven bits in each. Throws
/// std::out_of_range from 2^28 - 32 bytes on.
///
///     0   u32  box size
///     4   u32  'esds'
///     8   u32  version and flags, 0
///     12       ES descriptor: tag 3, length n + 32
///     17  u16  ES id 0x40
///     19  u8   stream priority 0x10
///     20       decoder config: tag 4, length n + 18
///     25  u8   object type 0x40
///     26  u8   stream type 0x15
///     27  u24  buffer size 0x600
///     30  u32  maximum bit rate 0
///     34  u32  average bit rate 0
///     38       decoder specific info: tag 5, length n
///     43       the configuration
///     .        SL config: tag 6, length 1, u8 2
qvs::util::ByteBuffer makeEsdsBox(std::span<const std::byte> config);

/// Returns the first `avcC` box in codec header bytes, its 8-byte header included. A view of `header`; empty if there
/// is none, or if its size field does not lead to a box inside the bytes.
std::span<const std::byte> findAvcCBox(const qvs::util::ByteBuffer& header);
/// Returns the AAC configuration in the first `esds` box. A view of `header`; empty if there is none or it is cut
/// short. Descriptors with lengths of any number of bytes are accepted, as other programs write them.
std::span<const std::byte> findAacConfig(const qvs::util::ByteBuffer& header);
/// Returns the bytes from the first `sinf` box to the end, whatever its size field says. A view of `header`; empty if
/// there is no such box.
std::span<const std::byte> fromSinfBox(const qvs::util::ByteBuffer& header);
/// The same from the first `avcC` box.
std::span<const std::byte> fromAvcCBox(const qvs::util::ByteBuffer& header);

}  // namespace ruvo::k2rpkgutil
