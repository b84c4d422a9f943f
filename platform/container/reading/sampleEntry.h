#pragma once

#include "platform/container/reading/Movie.h"
#include "platform/container/reading/boxes.h"
#include "util/bytes.h"

namespace krvo::container {

// A sample entry (ISO/IEC 14496-12, 8.5.2). Its payload is
//
//     0   6 zeros, u16 data reference 1
//     8   video: 70 bytes (12.1.3); audio: 20 bytes (12.2.3); `rtmp`: u16 hint track version,
//         u16 highest compatible version, u16 maximum packet size; data: nothing
//     then the codec header, as the caller gave it

/// The code under which an entry is stored: players know AVC as `avc1`, whatever the stream called it.
FourCC storedFormatCode(FourCC code);

/// Appends the entry. Throws std::out_of_range for an entry above 32 bits.
void writeSampleEntry(qvs::util::ByteWriter& out, const SampleDescription& description);

/// Reads one entry of a track with this handler type. Throws SegmentError for one that is too short, and for an audio
/// entry of a version above 1. The result owns a copy of the codec header. An entry of a handler type other than
/// `vide`, `soun` and `hint` is all codec header.
SampleDescription readSampleEntry(LoadedBox& entry, FourCC handler);

}  // namespace krvo::container
