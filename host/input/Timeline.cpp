#include "host/input/Timeline.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

namespace host {
namespace {

/// A step back that is no matter of reordering or rounding.
constexpr std::int64_t kJumpMs = 10000;
/// Beyond any real time, and far from the ends of the type.
constexpr std::int64_t kFarMs = std::int64_t{1} << 50;

std::int64_t toMs(std::int64_t time, AVRational timeBase) {
  return std::clamp(av_rescale_q_rnd(time, timeBase, {1, 1000}, AV_ROUND_NEAR_INF), -kFarMs, kFarMs);
}

}  // namespace

FrameTimes Timeline::map(std::size_t track, const RawTimes& raw) {
  Clock& clock = clocks_[track];
  const std::int64_t known = raw.dts != AV_NOPTS_VALUE ? raw.dts : raw.pts;
  std::int64_t dtsMs = clock.lastMs + clock.stepMs;
  if (known != AV_NOPTS_VALUE) {
    const std::int64_t rawMs = toMs(known, raw.timeBase);
    if (clock.started && rawMs + clock.offsetMs + kJumpMs < clock.lastMs) resume(clock, rawMs);
    dtsMs = rawMs + clock.offsetMs;
  }
  const std::int64_t ptsMs = raw.pts != AV_NOPTS_VALUE ? toMs(raw.pts, raw.timeBase) + clock.offsetMs : dtsMs;
  if (clock.started) dtsMs = std::max(dtsMs, clock.lastMs);
  clock.started = true;
  clock.lastMs = dtsMs;
  clock.stepMs = std::max<std::int64_t>(toMs(raw.duration, raw.timeBase), 0);
  return {dtsMs, ptsMs};
}

void Timeline::resume(Clock& clock, std::int64_t rawMs) {
  const std::int64_t targetMs = clock.lastMs + clock.stepMs;
  log_.warning(fmt::format("the input's timestamps jump back by {} ms; the recording goes on without the jump",
                           targetMs - rawMs - clock.offsetMs));
  if (std::abs(rawMs + latestOffsetMs_ - targetMs) > kJumpMs) latestOffsetMs_ = targetMs - rawMs;
  clock.offsetMs = latestOffsetMs_;
}

}  // namespace host
