#pragma once

#include <cstdint>

#include "platform/container/SegmentWriter.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

/// Where an existing segment is to be continued, and whether more is behind that than the writer puts there itself.
struct ReopenedSegment {
  SegmentState state;
  bool leftover = false;
};

/// Reads the header, then the fragment at `position`, of which the four boxes lie whole in the file; behind it writing
/// goes on. A position of 0 or all ones names no fragment: the last whole one is then searched from box to box. Throws
/// SegmentError for anything else than a segment with such a fragment.
ReopenedSegment reopenSegment(Source& source, std::uint64_t position);

}  // namespace krvo::container
