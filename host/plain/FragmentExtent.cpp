#include "host/plain/FragmentExtent.h"

#include <algorithm>

#include "host/plain/plainHeader.h"

namespace host {

using namespace krvo::container;

namespace {

/// Divides first, so that no product exceeds 64 bits.
std::uint64_t inMilliseconds(std::uint64_t time, const Track& track) {
  constexpr std::uint64_t kMillisecondsASecond = 1000;
  const std::uint64_t scale = std::max(track.timescale, 1U);
  return time / scale * kMillisecondsASecond + time % scale * kMillisecondsASecond / scale;
}

}  // namespace

bool FragmentExtent::isGapBefore(std::uint64_t nextStartMs) const {
  // Fragments that follow each other may be this far apart, because of encoders and rounding to milliseconds.
  constexpr std::uint64_t kSmallestGapMs = 500;
  if (nextStartMs <= startMs) return true;
  // The duration of a single first sample is unknown, so it lasts until the next one.
  return lastSampleMs != 0 && nextStartMs > endMs + std::max(kSmallestGapMs, lastSampleMs);
}

std::optional<FragmentExtent> extentOf(const Fragment& fragment, const Movie& movie) {
  std::optional<FragmentExtent> extent;
  for (const TrackFragment& part : fragment.tracks) {
    const auto track = std::find_if(movie.tracks.begin(), movie.tracks.end(),
                                    [&part](const auto& known) { return known->id == part.trackId; });
    if (track == movie.tracks.end() || !isInPlainView(**track) || part.samples.empty()) continue;
    const StoredSample& last = part.samples.back();
    const std::uint64_t start = inMilliseconds(part.samples.front().decodeTime, **track);
    const std::uint64_t end = inMilliseconds(last.decodeTime + last.duration, **track);
    if (!extent) extent = FragmentExtent{.startMs = start, .endMs = start};
    extent->firstDecodeTimes.emplace(part.trackId, part.samples.front().decodeTime);
    extent->startMs = std::min(extent->startMs, start);
    // A damaged time may wrap; nothing ends before it begins.
    extent->endMs = std::max({extent->endMs, end, start});
    extent->lastSampleMs = std::max(extent->lastSampleMs, inMilliseconds(last.duration, **track));
  }
  return extent;
}

}  // namespace host
