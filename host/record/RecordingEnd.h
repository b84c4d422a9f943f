#pragma once

#include <cstdint>
#include <optional>

#include "host/OutputDirectory.h"
#include "host/record/MessageCheck.h"

namespace host {

/// Where a recording ends, and what an append needs to know about it.
struct RecordingEnd {
  /// The time, in ms, that the first message must have which reaches the fragmenter: the first grid line after
  /// everything that is stored. Fragments are numbered by time, so an earlier message could not be recorded, and one
  /// between two lines would be dropped up to the next line. Wraps at 32 bits, as timestamps do.
  std::uint32_t continueMs = 0;
  /// The highest fragment number in an index; 0 if there is none.
  std::uint32_t lastFragment = 0;
  /// The base time of the recording, in ms.
  std::uint32_t baseMs = 0;
  /// Of the last segment: an append must have the same codecs.
  TrackCodecs codecs;
};

/// Reads the end of the recording in `place`; returns nothing if it has no bootstrap. `fragmentDuration` is that of the
/// append, in ms. The result may change when the module opens the recording for the append, since that completes what a
/// crash interrupted. Throws CommandError if a file cannot be read.
std::optional<RecordingEnd> readRecordingEnd(const OutputDirectory& place, std::uint32_t fragmentDuration);

}  // namespace host
