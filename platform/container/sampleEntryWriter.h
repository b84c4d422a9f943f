#pragma once

#include "platform/container/Movie.h"
#include "util/bytes.h"

namespace krvo::container {

// A sample entry (ISO/IEC 14496-12, 8.5.2): `bytes` beside the header are
//
//     0   6 zeros, u16 data reference 1          all
//     8   video: 70 bytes (12.1.3)   audio: 20 bytes (12.2.3)
//         `rtmp`: u16 hint track version, u16 highest compatible version, u16 maximum packet size
//     then the codec header, as it was given

/// The code under which an entry is stored: players know AVC as `avc1`, whatever the stream called it.
FourCC storedFormatCode(FourCC code);

/// Appends the entry.
void writeSampleEntry(qvs::util::ByteWriter& out, const SampleDescription& description);

}  // namespace krvo::container
