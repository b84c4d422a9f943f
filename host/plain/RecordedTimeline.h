#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/files/RecordingDirectory.h"
#include "host/plain/FragmentExtent.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// A fragment with pictures or sound, and its times in ms from the start of the recording.
struct TimedFragment {
  /// Number of its segment file.
  std::uint32_t segment = 0;
  /// Number of the fragment.
  std::uint32_t number = 0;
  krvo::container::FragmentBoxes boxes;
  /// Decode time of its first sample, of whichever track.
  std::uint64_t startMs = 0;
  /// Until the start of the next fragment. Before a gap, and at the end, until the end of its own last sample. Not 0.
  std::uint64_t durationMs = 0;
  /// Until the end of its own last sample, as stored. 0 if that is its only one.
  std::uint64_t ownMs = 0;
  /// Whether some time is missing between the fragment before and this one.
  bool followsGap = false;
  /// The time without samples there, in ms. 0 without a gap, and if the time goes back.
  std::uint64_t gapMs = 0;
  /// Stored duration of the last samples; of several tracks the longest.
  std::uint64_t lastSampleMs = 0;
  /// Those with samples, of video and audio, in the order of the file.
  std::vector<TimedTrack> tracks;

  std::uint64_t ownEndMs() const { return startMs + ownMs; }
};

/// One segment file with such fragments.
struct TimedSegment {
  std::uint32_t number = 0;
  krvo::container::Movie movie;
  /// Bytes of `ftyp` and `moov` together.
  std::uint64_t headerSize = 0;
};

/// What can be seen and heard of a recording, in order: the fragments that bootstrap and index name, and that have
/// samples of video or audio. A copy of what was read: later changes of the files do not show in it.
struct RecordedTimeline {
  /// The segments with such fragments, in rising order.
  std::vector<TimedSegment> segments;
  std::vector<TimedFragment> fragments;
  /// Whether the recording was stopped. Only an append could add to it then.
  bool ended = false;

  /// `number` must be that of one of `segments`. A view.
  const TimedSegment& segment(std::uint32_t number) const;
};

/// Reads the time line; the recording may still be running. Throws CommandError if there is no recording, if it is
/// protected, and for files that are malformed.
RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory);

/// Reads what has come to a running recording since `before` was read: only the new fragments. The result is what
/// readRecordedTimeline() would read now. Throws as that does.
RecordedTimeline extendRecordedTimeline(const RecordingDirectory& directory, const RecordedTimeline& before);

/// Sees what is read, for a caller that needs more than the time line, or as much as can be read. It is called while
/// the recording is read, from the first segment to the last.
class TimelineVisitor {
 public:
  virtual ~TimelineVisitor() = default;
  /// Before the first fragment of each segment that can be opened.
  virtual void segment(const krvo::container::Movie& movie) = 0;
  /// Each fragment that bootstrap and index name, in order; those without pictures and sound, too, which the time line
  /// does not have.
  virtual void fragment(const krvo::container::Movie& movie, const krvo::container::Fragment& fragment) = 0;
  /// A file or fragment that cannot be read and is left out. One line for the user, with the name of the file.
  virtual void fault(const std::string& text) = 0;
};

/// The same for protected and damaged recordings, too. Throws CommandError only if there is no recording.
RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory, TimelineVisitor& visitor);

/// When the first sample was recorded, in milliseconds since 1970-01-01 UTC: a segment is begun when its first fragment
/// is complete, and its header has the time. Nothing without fragments, or if the header has no time.
std::optional<std::int64_t> recordedSinceMs(const RecordedTimeline& timeline);

}  // namespace host
