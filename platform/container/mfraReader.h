#pragma once

#include "platform/container/RandomAccessTable.h"
#include "platform/container/boxes.h"

namespace krvo::container {

/// Reads an `mfra` as RandomAccessTable writes it. Throws SegmentError for another version, for numbers of other
/// widths, and for an `mfro` that does not tell the size of the box.
RandomAccessTable readMfra(Source& source, const BoxSpan& box);

}  // namespace krvo::container
