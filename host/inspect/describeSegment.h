#pragma once

#include "host/files/FileView.h"
#include "host/output.h"

namespace host {

/// Adds to `document` what a segment contains: its tracks, each fragment with its position, times and samples, and the
/// boxes after the last one. Throws SegmentError or Malformed if something cannot be read; `document` then has what was
/// read before.
void describeSegment(FileView& file, Json& document);

}  // namespace host
