#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// Fragments that follow each other may be this far apart, because of encoders and rounding to milliseconds.
inline constexpr std::uint64_t kSmallestGapMs = 500;
/// Duration of a single sample that nothing precedes and nothing follows. Players give up on a duration of 0.
inline constexpr std::uint64_t kUnknownDurationMs = 1000;

/// A time of a track in ms, rounded down.
std::uint64_t inMilliseconds(std::uint64_t time, std::uint32_t timescale);

/// The samples of one track in a fragment. Times are in the track's timescale.
struct TimedTrack {
  std::uint32_t id = 0;
  /// Units a second.
  std::uint32_t timescale = 0;
  std::uint64_t firstDecodeTime = 0;
  std::uint64_t lastDecodeTime = 0;
  /// Of the last sample, as stored: a guess, or 0.
  std::uint32_t lastDuration = 0;
};

/// The span of time of a fragment's samples of all tracks in the plain view, in ms from the base time of the recording.
struct FragmentExtent {
  std::uint64_t startMs = 0;
  /// Not before `startMs`.
  std::uint64_t endMs = 0;
  /// Durations of the first and of the last samples; of several tracks the longest.
  std::uint64_t firstSampleMs = 0;
  std::uint64_t lastSampleMs = 0;
  /// Those with samples, of video and audio, in the order of the file.
  std::vector<TimedTrack> tracks = {};

  /// The end of what the fragment shows before a gap and at the end of a recording, after `startMs`: a single sample of
  /// unknown duration is shown for kUnknownDurationMs.
  std::uint64_t shownUntilMs() const { return endMs != startMs ? endMs : startMs + kUnknownDurationMs; }
  /// Whether time is missing between this fragment and the next one. None is if a picture is missing while sound
  /// continues, nor if the stream has few pictures and the next one is not away for longer than the last one was shown.
  /// Times that do not rise come from a clock that was set back: a gap as well.
  bool isGapBefore(const FragmentExtent& next) const;
};

/// Nothing if the fragment has no samples of video or audio.
std::optional<FragmentExtent> extentOf(const krvo::container::Fragment& fragment, const krvo::container::Movie& movie);

}  // namespace host
