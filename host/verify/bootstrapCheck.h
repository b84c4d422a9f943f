#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"
#include "host/verify/FragmentChain.h"
#include "host/verify/SegmentCheck.h"

namespace host {

/// All that has been read of a recording.
struct RecordingContent {
  /// Of the bootstrap file; nothing where there is none that can be read.
  std::optional<ruvo::k2r::BootstrapInfo> bootstrap;
  struct Segment {
    std::uint32_t number = 0;
    SegmentResult result;
  };
  /// By their numbers; all those that the bootstrap knows, and the others there are.
  std::vector<Segment> segments;
};

/// Holds the bootstrap file against the bootstraps in the last fragments.
void checkAgainstFragments(const RecordingContext& recording, const RecordingContent& content);

/// Holds the indexes of all segments against the run tables: a position where there are data, none where there are not.
void checkAgainstIndexes(const RecordingContext& recording, const RecordingContent& content);

}  // namespace host
