#include "host/plain/FragmentExtent.h"

#include <algorithm>

#include "host/plain/plainHeader.h"

namespace host {

using namespace krvo::container;

std::uint64_t inMilliseconds(std::uint64_t time, std::uint32_t timescale) {
  constexpr std::uint64_t kMillisecondsASecond = 1000;
  const std::uint64_t scale = std::max(timescale, 1U);
  // Divides first, so that no product exceeds 64 bits.
  return time / scale * kMillisecondsASecond + time % scale * kMillisecondsASecond / scale;
}

bool FragmentExtent::isGapBefore(const FragmentExtent& next) const {
  if (next.startMs <= startMs) return true;
  // The duration of a single first sample is unknown. The durations of the next samples show whether the stream has few
  // pictures, or whether all pictures after its first key frame are missing.
  const std::uint64_t usualMs = lastSampleMs != 0 ? lastSampleMs : next.firstSampleMs;
  return usualMs != 0 && next.startMs > shownUntilMs() + std::max(kSmallestGapMs, usualMs);
}

std::optional<FragmentExtent> extentOf(const Fragment& fragment, const Movie& movie) {
  std::optional<FragmentExtent> extent;
  for (const TrackFragment& part : fragment.tracks) {
    const Track* const track = presentedTrack(movie, part.trackId);
    if (track == nullptr || part.samples.empty()) continue;
    const StoredSample& last = part.samples.back();
    const std::uint32_t scale = track->timescale;
    const std::uint64_t start = inMilliseconds(part.samples.front().decodeTime, scale);
    const std::uint64_t end = inMilliseconds(last.decodeTime + last.duration, scale);
    if (!extent) extent = FragmentExtent{.startMs = start, .endMs = start};
    extent->tracks.push_back({.id = part.trackId,
                              .timescale = scale,
                              .firstDecodeTime = part.samples.front().decodeTime,
                              .lastDecodeTime = last.decodeTime,
                              .lastDuration = last.duration});
    extent->startMs = std::min(extent->startMs, start);
    // A damaged time may wrap; nothing ends before it begins.
    extent->endMs = std::max({extent->endMs, end, start});
    extent->firstSampleMs = std::max(extent->firstSampleMs, inMilliseconds(part.samples.front().duration, scale));
    extent->lastSampleMs = std::max(extent->lastSampleMs, inMilliseconds(last.duration, scale));
  }
  return extent;
}

}  // namespace host
