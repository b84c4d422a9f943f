#pragma once

#include <cstdint>
#include <map>

#include "host/plain/RecordedTimeline.h"

namespace host {

/// By track id: the duration of a track's last sample in a fragment, in the track's timescale.
using LastDurations = std::map<std::uint32_t, std::uint32_t>;

/// The position of a fragment in a plain view.
struct PlainPlace {
  /// Number of the `moof` (ISO/IEC 14496-12, 8.8.5), rising over the whole view.
  std::uint32_t sequenceNumber = 1;
  /// How much smaller its decode times in the view are than in the recording, in ms: the sum of the gaps before it.
  std::int64_t shiftMs = 0;
  /// A track without an entry keeps the stored duration.
  LastDurations lastDurations = {};
};

/// PlainPlace::shiftMs of a fragment that starts at `placeMs` in the view. Negative if a clock restarted: fragments of
/// an append can begin before those they follow.
inline std::int64_t shiftTo(std::uint64_t placeMs, const TimedFragment& fragment) {
  return static_cast<std::int64_t>(fragment.startMs) - static_cast<std::int64_t>(placeMs);
}

/// A decode time in the view. Never below 0: a decode time has no sign, and those of a malformed fragment could fall
/// below.
std::uint64_t shiftedTime(std::uint64_t decodeTime, std::int64_t shiftMs, std::uint32_t timescale);

/// The durations with which each track's last sample lasts until the track continues in `next`, even over a gap, so
/// that players see no hole. The shifts are those of PlainPlace. A track that does not continue there has no entry, and
/// no one whose times do not rise: they belong to a clock that was set back, and the stored duration is better.
LastDurations durationsUntil(const TimedFragment& fragment, std::int64_t shiftMs, const TimedFragment& next,
                             std::int64_t nextShiftMs);

}  // namespace host
