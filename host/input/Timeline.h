#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/Log.h"

namespace host {

/// A frame's times as a demuxer gives them, in units of `timeBase`; AV_NOPTS_VALUE where it knows none.
struct RawTimes {
  std::int64_t dts = 0;
  std::int64_t pts = 0;
  std::int64_t duration = 0;
  AVRational timeBase = {1, 1000};
};

/// The same in whole milliseconds. May be negative.
struct FrameTimes {
  std::int64_t dtsMs = 0;
  std::int64_t ptsMs = 0;
};

/// Turns demuxer times into milliseconds, each rounded by itself to the nearest, halves away from zero. The decode
/// times of a track never fall: a small step back is lifted, and where they jump back by seconds, as when a source
/// starts over, the track goes on from where it was and later tracks follow by the same distance, so that they stay in
/// step.
class Timeline {
 public:
  /// `log` outlives it.
  Timeline(std::size_t tracks, Log& log) : clocks_(tracks), log_(log) {}
  FrameTimes map(std::size_t track, const RawTimes& raw);

 private:
  struct Clock {
    bool started = false;
    std::int64_t lastMs = 0;
    std::int64_t stepMs = 0;
    std::int64_t offsetMs = 0;
  };

  void resume(Clock& clock, std::int64_t rawMs);

  std::vector<Clock> clocks_;
  Log& log_;
  /// Distance of the track that last went on after a jump.
  std::int64_t latestOffsetMs_ = 0;
};

}  // namespace host
