#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// The span of time of a fragment's samples of all tracks in the plain view, in ms from the base time of the recording.
struct FragmentExtent {
  std::uint64_t startMs = 0;
  /// Not before `startMs`.
  std::uint64_t endMs = 0;
  /// Duration of the last samples; of several tracks the longest.
  std::uint64_t lastSampleMs = 0;
  /// By track id: the decode time of its first sample, in the track's timescale.
  std::map<std::uint32_t, std::uint64_t> firstDecodeTimes = {};

  /// Whether time is missing between this fragment and the next one, which begins at `nextStartMs`. None is if a
  /// picture is missing while sound continues, nor if the stream has few pictures and the next one is not away for
  /// longer than the last one was shown. Times that do not rise come from a clock that was set back: a gap as well.
  bool isGapBefore(std::uint64_t nextStartMs) const;
};

/// Nothing if the fragment has no samples of video or audio.
std::optional<FragmentExtent> extentOf(const krvo::container::Fragment& fragment, const krvo::container::Movie& movie);

}  // namespace host
