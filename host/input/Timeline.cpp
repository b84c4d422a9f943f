#include "host/input/Timeline.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>

namespace host {
namespace {

/// Limit of all times: later than any real one, and far enough from the limits of the type for sums of a few of them.
constexpr std::int64_t kFarMs = std::int64_t{1} << 50;

std::int64_t toMs(std::int64_t time, AVRational timeBase) {
  return std::clamp(av_rescale_q_rnd(time, timeBase, {1, 1000}, AV_ROUND_NEAR_INF), -kFarMs, kFarMs);
}

/// The presentation time that is nearest to the decode time. The demuxer corrects times that wrap, but may correct only
/// one of the two.
std::int64_t unwrapped(std::int64_t pts, std::int64_t dts, int wrapBits) {
  if (wrapBits < 1 || wrapBits > 62) return pts;
  const std::int64_t period = std::int64_t{1} << wrapBits;
  if (pts > dts && pts - dts > period / 2) return pts - period;
  if (pts < dts && dts - pts > period / 2) return pts + period;
  return pts;
}

}  // namespace

FrameTimes Timeline::map(std::size_t track, const RawTimes& raw) {
  // Without a decode time the presentation time is the best that there is.
  const std::int64_t known = raw.dts != AV_NOPTS_VALUE ? raw.dts : raw.pts;
  const std::int64_t lengthMs = std::max<std::int64_t>(toMs(raw.duration, raw.timeBase), 0);
  const std::int64_t mappedMs = known != AV_NOPTS_VALUE ? clock_.map(track, toMs(known, raw.timeBase), lengthMs)
                                                        : clock_.mapUnknown(track, lengthMs);
  FrameTimes times{.dtsMs = mappedMs, .ptsMs = mappedMs, .ptsKnown = raw.pts != AV_NOPTS_VALUE};
  if (times.ptsKnown) {
    const std::int64_t pts = raw.dts != AV_NOPTS_VALUE ? unwrapped(raw.pts, raw.dts, raw.wrapBits) : raw.pts;
    // Rounded by itself, and not from a rounded difference: the presentation time is then off by half a millisecond at
    // most.
    times.ptsMs = toMs(pts, raw.timeBase) + clock_.distance(track);
  }
  // The module would lift a time that falls, but the composition time in the message would not change with it.
  times.dtsMs = std::max(times.dtsMs, last_[track].value_or(times.dtsMs));
  last_[track] = times.dtsMs;
  return times;
}

}  // namespace host
