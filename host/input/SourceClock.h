#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/Log.h"

namespace host {

/// Puts the times of all tracks of a source on one continuous time line, in ms. If the times of a track jump back by
/// more than reordering explains, or forward by more than a gap may last, the source has started a new clock: the time
/// line continues where it is. The other tracks move by the same distance as soon as they have reached the new clock,
/// so that sound and picture stay together. All times are signed and do not wrap, so that steps back can be recognised.
class SourceClock {
 public:
  /// Steps back up to this are reordering or rounding. A source that starts again has lasted longer.
  static constexpr std::int64_t kReorderMs = 1000;

  /// `maxGapMs` is raised to kReorderMs, as frames may be that far apart anyway. `log` outlives it; it gets a warning
  /// for each new clock.
  SourceClock(std::size_t tracks, std::int64_t maxGapMs, Log& log)
      : tracks_(tracks), maxGapMs_(std::max(maxGapMs, kReorderMs)), log_(log) {}

  /// Returns the time on the line for a frame that is at `rawMs` by the source's clock. `lengthMs` is the frame's
  /// duration, 0 if unknown. Results of one track may fall by up to kReorderMs. `track` is below the number of tracks.
  std::int64_t map(std::size_t track, std::int64_t rawMs, std::int64_t lengthMs = 0);
  /// The same for a frame without a time: it goes to the end of the frame before it.
  std::int64_t mapUnknown(std::size_t track, std::int64_t lengthMs);
  /// Time on the line less source time, in ms, for the last frame of the track. For other times of that frame.
  std::int64_t distance(std::size_t track) const { return tracks_[track].distanceMs; }
  /// The same for the newest clock.
  std::int64_t latestDistance() const { return latestDistanceMs_; }
  /// How many new clocks there were.
  std::uint32_t newClocks() const { return newClocks_; }
  /// The source was opened again: its next frame, of any track, goes to `targetMs` on the line.
  void restartAt(std::int64_t targetMs);
  /// The latest end of a frame so far, in ms; 0 at the start.
  std::int64_t endMs() const { return endMs_.value_or(0); }

 private:
  struct Track {
    /// Whether it has had a frame since the start or restartAt().
    bool started = false;
    std::int64_t distanceMs = 0;
    /// Time of its last frame on the line.
    std::int64_t lastMs = 0;
    /// Duration of the last frame by the source, and by its distance from the frame before, for sources without
    /// durations.
    std::int64_t lengthMs = 0;
    std::int64_t stepMs = 0;

    /// Where the next frame of the track is expected.
    std::int64_t nextMs() const { return lastMs + (lengthMs > 0 ? lengthMs : stepMs); }
  };

  /// Sets the distance of the track for a frame at `rawMs`.
  void chooseClock(Track& track, std::int64_t rawMs);
  /// Whether a frame at `timeMs` on the line cannot belong to the clock of the track.
  bool isJump(const Track& track, std::int64_t timeMs) const;
  /// Records that the track has a frame there.
  void advance(Track& track, std::int64_t timeMs, std::int64_t lengthMs);

  std::vector<Track> tracks_;
  std::int64_t maxGapMs_;
  Log& log_;
  std::uint32_t newClocks_ = 0;
  /// Distance of the newest clock.
  std::int64_t latestDistanceMs_ = 0;
  /// Target of restartAt(), until the next frame.
  std::optional<std::int64_t> restartMs_;
  /// Nothing before the first frame.
  std::optional<std::int64_t> endMs_;
};

}  // namespace host
