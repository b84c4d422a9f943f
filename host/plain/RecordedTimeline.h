#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
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
  /// How much: milliseconds without samples. 0 if the time goes back here, or without a gap.
  std::uint64_t gapMs = 0;
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

/// Reads it, also while the recording runs. Throws CommandError if there is no recording, if its samples are protected,
/// or if a file is malformed.
RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory);

/// Sees what is read, for a caller that needs more than the time line, or as much as can be read.
class TimelineVisitor {
 public:
  virtual ~TimelineVisitor() = default;
  /// Before the first fragment of each segment that can be opened.
  virtual void segment(const krvo::container::Movie& movie) = 0;
  /// Each fragment that bootstrap and index name, in order; those without pictures and sound, too, which the time line
  /// does not have.
  virtual void fragment(const krvo::container::Movie& movie, const krvo::container::Fragment& fragment) = 0;
  /// A file or fragment that cannot be read and is left out.
  virtual void fault(const std::string& text) = 0;
};

/// The same for protected and damaged recordings, too. Throws CommandError only if there is no recording.
RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory, TimelineVisitor& visitor);

/// When the first sample was recorded, in milliseconds since 1970-01-01 UTC: a segment is begun when its first fragment
/// is complete, and its header has the time. Nothing without fragments, or if the header has no time.
std::optional<std::int64_t> recordedSinceMs(const RecordedTimeline& timeline);

}  // namespace host
