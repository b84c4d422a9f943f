#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/Log.h"

namespace host {

/// Puts the times of a source's tracks, in milliseconds, on one line. Where the times of a track jump back by more than
/// reordering explains, or forward by more than a gap may last, the source has begun a new clock: the recording goes on
/// from where it is, and the other tracks follow by the same distance once they have come to the new clock, too, so
/// that they stay in step.
class SourceClock {
 public:
  /// Back by more is no reordering and no rounding.
  static constexpr std::int64_t kReorderMs = 1000;

  /// A gap may last kReorderMs in any case, since frames are no steadier. `log` outlives it.
  SourceClock(std::size_t tracks, std::int64_t maxGapMs, Log& log)
      : tracks_(tracks), maxGapMs_(std::max(maxGapMs, kReorderMs)), log_(log) {}

  /// Where a frame of the track lies that its source has at `rawMs`. `lengthMs` is how long it lasts; 0 where that is
  /// not known. Within kReorderMs the answer may fall.
  std::int64_t map(std::size_t track, std::int64_t rawMs, std::int64_t lengthMs = 0);
  /// The same for a frame whose time the source does not know: at the end of the one before it.
  std::int64_t mapUnknown(std::size_t track, std::int64_t lengthMs);
  /// How far a time that goes along with the last frame of the track is moved.
  std::int64_t distance(std::size_t track) const { return tracks_[track].distanceMs; }
  /// The same by the newest clock.
  std::int64_t latestDistance() const { return latestDistanceMs_; }
  /// The source begins anew: its next frame, of any track, goes to `targetMs`.
  void restartAt(std::int64_t targetMs);
  /// The latest end of a frame so far; 0 at the start.
  std::int64_t endMs() const { return endMs_.value_or(0); }

 private:
  struct Track {
    bool started = false;
    std::int64_t distanceMs = 0;
    std::int64_t lastMs = 0;
    /// Of the last frame, as the source says it, and as its distance from the one before tells where it does not.
    std::int64_t lengthMs = 0;
    std::int64_t stepMs = 0;

    std::int64_t nextMs() const { return lastMs + (lengthMs > 0 ? lengthMs : stepMs); }
  };

  void chooseClock(Track& track, std::int64_t rawMs);
  bool isJump(const Track& track, std::int64_t timeMs) const;
  void advance(Track& track, std::int64_t timeMs, std::int64_t lengthMs);

  std::vector<Track> tracks_;
  std::int64_t maxGapMs_;
  Log& log_;
  /// Of the newest clock.
  std::int64_t latestDistanceMs_ = 0;
  std::optional<std::int64_t> restartMs_;
  std::optional<std::int64_t> endMs_;
};

}  // namespace host
