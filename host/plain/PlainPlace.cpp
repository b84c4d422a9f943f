#include "host/plain/PlainPlace.h"

#include <algorithm>
#include <limits>

#include "util/milliseconds.h"

namespace host {

using qvs::util::kMillisecondsPerSecond;

std::uint64_t shiftedTime(std::uint64_t decodeTime, std::int64_t shiftMs, std::uint32_t timescale) {
  const std::int64_t restMs = shiftMs % kMillisecondsPerSecond;
  // Divides first: the place may be a time of day, whose product with a large timescale exceeds 64 bits. Without signs,
  // because a malformed timescale may exceed them even so.
  const std::uint64_t shift = static_cast<std::uint64_t>(shiftMs / kMillisecondsPerSecond) * timescale +
                              static_cast<std::uint64_t>(restMs * timescale / kMillisecondsPerSecond);
  return static_cast<std::uint64_t>(std::max<std::int64_t>(static_cast<std::int64_t>(decodeTime - shift), 0));
}

LastDurations durationsUntil(const TimedFragment& fragment, std::int64_t shiftMs, const TimedFragment& next,
                             std::int64_t nextShiftMs) {
  LastDurations durations;
  for (const TimedTrack& track : fragment.tracks) {
    const auto after = std::find_if(next.tracks.begin(), next.tracks.end(), [&track](const TimedTrack& other) {
      return other.id == track.id && other.timescale == track.timescale;
    });
    if (after == next.tracks.end()) continue;
    const std::uint64_t last = shiftedTime(track.lastDecodeTime, shiftMs, track.timescale);
    const std::uint64_t end = shiftedTime(after->firstDecodeTime, nextShiftMs, track.timescale);
    if (end <= last || end - last > std::numeric_limits<std::uint32_t>::max()) continue;
    durations.emplace(track.id, static_cast<std::uint32_t>(end - last));
  }
  return durations;
}

}  // namespace host
