#pragma once

#include "host/files/FileView.h"
#include "host/output.h"

namespace host {

/// Puts into `document` what a segment holds: its tracks, each fragment with its place, times and samples, and what
/// stands behind them. Throws SegmentError or Malformed where something cannot be read; what is in front of that is
/// then in the document.
void describeSegment(FileView& file, Json& document);

}  // namespace host
