#include "host/input/SourceClock.h"

#include <fmt/format.h>

#include <cstdlib>

namespace host {

std::int64_t SourceClock::map(std::size_t track, std::int64_t rawMs, std::int64_t lengthMs) {
  Track& clock = tracks_[track];
  if (restartMs_) {
    latestDistanceMs_ = *restartMs_ - rawMs;
    restartMs_.reset();
  }
  chooseClock(clock, rawMs);
  const std::int64_t timeMs = rawMs + clock.distanceMs;
  advance(clock, timeMs, lengthMs);
  return timeMs;
}

std::int64_t SourceClock::mapUnknown(std::size_t track, std::int64_t lengthMs) {
  Track& clock = tracks_[track];
  // By the length of the last frame alone, and not by `stepMs`: the distance between two known times may be that of
  // many frames, as in transport streams, and the next known time would then look like a jump back.
  const std::int64_t timeMs = clock.lastMs + clock.lengthMs;
  advance(clock, timeMs, lengthMs);
  return timeMs;
}

void SourceClock::chooseClock(Track& track, std::int64_t rawMs) {
  const auto deviationMs = [&](std::int64_t distanceMs) { return std::abs(rawMs + distanceMs - track.nextMs()); };
  // At a jump the tracks change to the new clock one after another, as their frames are interleaved. A track changes
  // when its time fits better on the new clock; until then it still has frames of the old one. This also keeps sound
  // and picture together if the jump is too small for isJump() in one of them.
  if (!track.started || deviationMs(latestDistanceMs_) < deviationMs(track.distanceMs))
    track.distanceMs = latestDistanceMs_;
  const std::int64_t timeMs = rawMs + track.distanceMs;
  if (!isJump(track, timeMs)) return;
  const std::int64_t jumpMs = timeMs - (track.started ? track.nextMs() : endMs());
  // The frame goes to the latest end of all tracks, so that no track gets times before those it has.
  latestDistanceMs_ = endMs() - rawMs;
  track.distanceMs = latestDistanceMs_;
  ++newClocks_;
  log_.warning(
      fmt::format("the input's times jump {} by {} ms: the source has a new clock; the times continue without the jump",
                  jumpMs < 0 ? "back" : "forward", std::abs(jumpMs)));
}

bool SourceClock::isJump(const Track& track, std::int64_t timeMs) const {
  if (track.started) return timeMs < track.lastMs - kReorderMs || timeMs > track.nextMs() + maxGapMs_;
  // The first frame of a later track may be well before those of the others. The very first frame cannot jump.
  const bool alone = std::none_of(tracks_.begin(), tracks_.end(), [](const Track& other) { return other.started; });
  return !alone && std::abs(timeMs - endMs()) > maxGapMs_;
}

void SourceClock::advance(Track& track, std::int64_t timeMs, std::int64_t lengthMs) {
  const std::int64_t stepMs = timeMs - track.lastMs;
  // Larger steps are gaps, and no frame lengths.
  if (track.started && stepMs > 0 && stepMs <= kReorderMs) track.stepMs = stepMs;
  track.lengthMs = std::min(lengthMs, maxGapMs_);
  // The maximum: reordered frames without decode times must not move the end back.
  track.lastMs = track.started ? std::max(track.lastMs, timeMs) : timeMs;
  track.started = true;
  endMs_ = std::max(endMs_.value_or(track.nextMs()), track.nextMs());
}

void SourceClock::restartAt(std::int64_t targetMs) {
  restartMs_ = targetMs;
  // Their distances are void; the first frame after this sets a new one, and the others follow it in chooseClock().
  for (Track& track : tracks_) track.started = false;
}

}  // namespace host
