#pragma once

#include <ostream>

#include "packaging/MediaProperties.h"
#include "packaging/MetadataSummary.h"
#include "util/ByteBuffer.h"

namespace ruvo::k2rpkgutil {

/// Returns the description of a recording, the content of its .meta file: the AMF0 string "onMetaData" and an ECMA
/// array of the properties and tracks. `hasSmpte` adds the time code offset `smpteOffset`. Throws krvo::k2m::Exception
/// with status 42 for an `avcC` box whose size reaches beyond the codec header, std::bad_alloc, and what `properties`
/// throws.
qvs::util::ByteBuffer buildMetadataMessage(IMediaProperties& properties, bool hasSmpte, double smpteOffset);

/// Writes that message for a summary. Keys of several tracks of a kind are repeated in track order. Any failure of the
/// stream is thrown as std::ios_base::failure; the stream's exception mask is restored, also then.
void writeMetadataMessage(std::ostream& out, const MetadataSummary& summary);

}  // namespace ruvo::k2rpkgutil
