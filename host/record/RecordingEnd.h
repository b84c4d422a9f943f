#pragma once

#include <cstdint>
#include <optional>

#include "host/OutputDirectory.h"
#include "host/record/MessageCheck.h"

namespace host {

/// Where a recording ends, and what an append has to know of it.
struct RecordingEnd {
  /// Where the first message that reaches the fragmenter has to be, in milliseconds: the first line of the grid behind
  /// all that is stored. Fragments are numbered by time, so what begins earlier could not be recorded, and what begins
  /// between two lines would lose its start. Timestamps run over 32 bits.
  std::uint32_t continueMs = 0;
  /// The highest number in an index, 0 where there is none.
  std::uint32_t lastFragment = 0;
  /// The recording's times count from here.
  std::uint32_t baseMs = 0;
  TrackCodecs codecs;
};

/// Nothing where there is no bootstrap. `fragmentDuration` in milliseconds is that of the append. Once the module has
/// opened the recording for it, the answer takes in what that has put right. Throws CommandError for files that cannot
/// be read.
std::optional<RecordingEnd> readRecordingEnd(const OutputDirectory& place, std::uint32_t fragmentDuration);

}  // namespace host
