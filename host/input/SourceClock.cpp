#include "host/input/SourceClock.h"

#include <fmt/format.h>

#include <algorithm>
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
  // A step that was only told by frames whose times are known may be one of many frames.
  const std::int64_t timeMs = clock.lastMs + clock.lengthMs;
  advance(clock, timeMs, lengthMs);
  return timeMs;
}

void SourceClock::chooseClock(Track& track, std::int64_t rawMs) {
  const auto offTime = [&](std::int64_t distanceMs) { return std::abs(rawMs + distanceMs - track.nextMs()); };
  // Another track may have come to a new clock. This one is there when its time fits better on it; until then it still
  // has frames of the old one to give.
  if (!track.started || offTime(latestDistanceMs_) < offTime(track.distanceMs)) track.distanceMs = latestDistanceMs_;
  const std::int64_t timeMs = rawMs + track.distanceMs;
  if (!isJump(track, timeMs)) return;
  const std::int64_t jumpMs = timeMs - (track.started ? track.nextMs() : endMs());
  latestDistanceMs_ = endMs() - rawMs;
  track.distanceMs = latestDistanceMs_;
  log_.warning(fmt::format("the input's times jump {} by {} ms: a new clock; the recording goes on from where it is",
                           jumpMs < 0 ? "back" : "forward", std::abs(jumpMs)));
}

bool SourceClock::isJump(const Track& track, std::int64_t timeMs) const {
  if (track.started) return timeMs < track.lastMs - kReorderMs || timeMs > track.nextMs() + maxGapMs_;
  // A track may begin late, and with times that lie well before those of the others.
  const bool alone = std::none_of(tracks_.begin(), tracks_.end(), [](const Track& other) { return other.started; });
  return !alone && std::abs(timeMs - endMs()) > maxGapMs_;
}

void SourceClock::advance(Track& track, std::int64_t timeMs, std::int64_t lengthMs) {
  const std::int64_t stepMs = timeMs - track.lastMs;
  if (track.started && stepMs > 0 && stepMs <= kReorderMs) track.stepMs = stepMs;
  track.lengthMs = std::min(lengthMs, maxGapMs_);
  track.lastMs = track.started ? std::max(track.lastMs, timeMs) : timeMs;
  track.started = true;
  endMs_ = std::max(endMs_.value_or(track.nextMs()), track.nextMs());
}

void SourceClock::restartAt(std::int64_t targetMs) {
  restartMs_ = targetMs;
  for (Track& track : tracks_) track.started = false;
}

}  // namespace host
