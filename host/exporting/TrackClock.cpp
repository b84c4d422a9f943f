#include "host/exporting/TrackClock.h"

#include <algorithm>
#include <cmath>

#include "util/milliseconds.h"

namespace host {

using qvs::util::kMillisecondsPerSecond;

/// How far an audio frame may be from the end of the one before and still count as following it.
constexpr std::int64_t kRoundingMs = 2;

std::int64_t TrackClock::place(std::int64_t timeMs) {
  std::int64_t time = timeMs * unitsPerSecond_ / kMillisecondsPerSecond;
  if (last_) {
    const std::int64_t next = *last_ + samplesPerFrame_;
    const bool follows =
        samplesPerFrame_ != 0 && std::abs(time - next) * kMillisecondsPerSecond <= kRoundingMs * unitsPerSecond_;
    // Decode times have to rise.
    time = follows ? next : std::max(time, *last_ + 1);
  }
  last_ = time;
  return time;
}

}  // namespace host
