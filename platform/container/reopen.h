#pragma once

#include <cstdint>

#include "platform/container/SegmentWriter.h"
#include "platform/container/reading/Source.h"

namespace krvo::container {

/// The state in which an existing segment is continued. `leftover`: after that point the file has other bytes than the
/// `mfra` and `free` that a writer puts there, so a crash has left them.
struct ReopenedSegment {
  SegmentState state;
  bool leftover = false;
};

/// Reads the header and the fragment at `position`, whose four boxes must be whole; the segment is continued after it.
/// A position of 0 or all ones names no fragment: the last whole one is then searched for, box by box. Throws
/// SegmentError for a file that is no segment, has no such fragment, or ends in a box without a size. Writes nothing.
/// The table of the last `mfra` is taken over; a file without one is read fragment by fragment, and has no table if one
/// of them cannot be read.
ReopenedSegment reopenSegment(Source& source, std::uint64_t position);

}  // namespace krvo::container
