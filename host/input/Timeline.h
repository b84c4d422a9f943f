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

/// The times of a frame as the demuxer gives them, in units of `timeBase`; AV_NOPTS_VALUE if unknown.
struct RawTimes {
  std::int64_t dts = 0;
  std::int64_t pts = 0;
  std::int64_t duration = 0;
  AVRational timeBase = {1, 1000};
  /// Number of bits after which times start again at 0; 64 if they do not.
  int wrapBits = 64;
};

/// The times of a frame on the time line, in ms. May be negative.
struct FrameTimes {
  std::int64_t dtsMs = 0;
  std::int64_t ptsMs = 0;
  /// Whether the source has the presentation time; if not, `ptsMs` is `dtsMs`.
  bool ptsKnown = false;
};

/// Converts demuxer times to milliseconds on one time line for all tracks (see SourceClock). Each time is rounded by
/// itself to the nearest, halves away from zero. The decode times of a track never fall: an earlier time becomes that
/// of the frame before.
class Timeline {
 public:
  /// `log` outlives it.
  Timeline(std::size_t tracks, std::int64_t maxGapMs, Log& log) : last_(tracks), clock_(tracks, maxGapMs, log) {}
  /// `track` is below the number of tracks. Call it once for each frame, in decode order.
  FrameTimes map(std::size_t track, const RawTimes& raw);
  /// The source was opened again: its next frame goes to `targetMs`.
  void restartAt(std::int64_t targetMs) { clock_.restartAt(targetMs); }
  std::uint32_t newClocks() const { return clock_.newClocks(); }
  /// The latest end of a frame so far, in ms; 0 at the start.
  std::int64_t endMs() const { return clock_.endMs(); }

 private:
  /// By track: decode time of the last frame, in ms.
  std::vector<std::optional<std::int64_t>> last_;
  SourceClock clock_;
};

}  // namespace host
