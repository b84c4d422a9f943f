#pragma once

#include <ostream>

#include "packaging/MediaProperties.h"
#include "packaging/MetadataSummary.h"
#include "util/ByteBuffer.h"

namespace ruvo::k2rpkgutil {

/// The description of a recording: a script-data message "onMetaData" in AMF0 with an array of what `properties` tells
/// of the tracks. `hasSmpte` adds the time code offset. Throws krvo::k2m::Exception 42 for an `avcC` box whose size
/// reaches beyond the codec header.
qvs::util::ByteBuffer buildMetadataMessage(IMediaProperties& properties, bool hasSmpte, double smpteOffset);

/// Writes the message that says what `summary` holds. Stream failures are thrown; the stream's exception mask is as it
/// was behind the call.
void writeMetadataMessage(std::ostream& out, const MetadataSummary& summary);

}  // namespace ruvo::k2rpkgutil
