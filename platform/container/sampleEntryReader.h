#pragma once

#include "platform/container/Movie.h"
#include "platform/container/boxes.h"

namespace krvo::container {

/// Reads one sample entry of a track with this handler type; see sampleEntryWriter.h. Throws SegmentError.
SampleDescription readSampleEntry(LoadedBox& entry, FourCC handler);

}  // namespace krvo::container
