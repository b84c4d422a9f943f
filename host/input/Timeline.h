#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/Log.h"
#include "host/input/SourceClock.h"

namespace host {

/// A frame's times as a demuxer gives them, in units of `timeBase`; AV_NOPTS_VALUE where it knows none.
struct RawTimes {
  std::int64_t dts = 0;
  std::int64_t pts = 0;
  std::int64_t duration = 0;
  AVRational timeBase = {1, 1000};
  /// Times start over after so many bits.
  int wrapBits = 64;
};

/// The same in whole milliseconds. May be negative.
struct FrameTimes {
  std::int64_t dtsMs = 0;
  std::int64_t ptsMs = 0;
  /// The source tells when the frame is presented.
  bool ptsKnown = false;
};

/// Turns demuxer times into milliseconds, each rounded by itself to the nearest, halves away from zero, on one line for
/// all tracks (see SourceClock). The decode times of a track never fall: a small step back is lifted.
class Timeline {
 public:
  /// `log` outlives it.
  Timeline(std::size_t tracks, std::int64_t maxGapMs, Log& log) : last_(tracks), clock_(tracks, maxGapMs, log) {}
  FrameTimes map(std::size_t track, const RawTimes& raw);
  /// The source begins anew: its next frame goes to `targetMs`.
  void restartAt(std::int64_t targetMs) { clock_.restartAt(targetMs); }
  /// The latest end of a frame so far; 0 at the start.
  std::int64_t endMs() const { return clock_.endMs(); }

 private:
  /// Decode times of the last frames.
  std::vector<std::optional<std::int64_t>> last_;
  SourceClock clock_;
};

}  // namespace host
