#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "host/files/RecordingDirectory.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// A fragment with pictures or sound, and its place in time. Times are milliseconds from the recording's start.
struct TimedFragment {
  /// Of the segment file.
  std::uint32_t segment = 0;
  /// The fragment's number.
  std::uint32_t number = 0;
  krvo::container::FragmentBoxes boxes;
  /// Where its first sample begins, whichever track that is of.
  std::uint64_t startMs = 0;
  /// Until the next fragment begins; in front of a gap, and at the end, until its own last sample ends. Never 0.
  std::uint64_t durationMs = 0;
  /// Something is missing between the fragment before this one and this one.
  bool isBehindGap = false;
  /// By track id: the decode time of its first sample, in the track's timescale.
  std::map<std::uint32_t, std::uint64_t> firstDecodeTimes;
};

struct TimedSegment {
  std::uint32_t number = 0;
  krvo::container::Movie movie;
  /// Bytes of `ftyp` and `moov`.
  std::uint64_t headerSize = 0;
};

/// What a recording has to show and to be heard, in order: its fragments that bootstrap and index name and that have
/// samples of pictures or sound.
struct RecordedTimeline {
  /// Those that have such fragments.
  std::vector<TimedSegment> segments;
  std::vector<TimedFragment> fragments;
  /// The recording was stopped: nothing will be added, unless an append goes on.
  bool ended = false;

  /// `number` is that of one of `segments`.
  const TimedSegment& segment(std::uint32_t number) const;
};

/// Reads it, while the recording runs, too. Throws CommandError where there is no recording, one whose samples are
/// protected, or files that are not of their form.
RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory);

}  // namespace host
