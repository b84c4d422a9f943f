#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"
#include "host/verify/SegmentCheck.h"

namespace host {

/// What has been read of a recording.
struct RecordingContent {
  /// The bootstrap file; nothing if it is missing or cannot be read.
  std::optional<ruvo::k2r::BootstrapInfo> bootstrap;
  struct Segment {
    std::uint32_t number = 0;
    SegmentResult result;
  };
  /// In rising order: all that the bootstrap names, and all others in the directory.
  std::vector<Segment> segments;
};

/// Compares the bootstrap file with the bootstraps in the last two fragments. Uses recording.chain, so all segments
/// must have been checked before.
void checkAgainstFragments(const RecordingContext& recording, const RecordingContent& content);

/// Compares the indexes of all segments with the run tables: a number with data must have a position, one without data
/// must not.
void checkAgainstIndexes(const RecordingContext& recording, const RecordingContent& content);

}  // namespace host
