#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "host/files/RecordingDirectory.h"
#include "host/plain/RecordedTimeline.h"
#include "host/serve/play/HeaderStore.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// A recording as it was at one moment, for playing. Never changes.
struct PlayedRecording {
  RecordingName name;
  RecordingDirectory directory;
  RecordedTimeline timeline;
  /// By number of the segment; never null.
  std::map<std::uint32_t, HeaderPointer> headers;
  /// The moment on its time line, in ms, that its name means.
  std::uint64_t namedMs = 0;

  /// Index of the fragment with that number.
  std::optional<std::size_t> find(std::uint32_t number) const;
  /// Memory in bytes, roughly.
  std::uint64_t bytes() const;
};
using RecordingPointer = std::shared_ptr<const PlayedRecording>;

/// One fragment of a recording. Keeps the recording.
struct PlayedFragment {
  RecordingPointer recording;
  std::size_t index = 0;

  /// Times on the time line of the recording, in ms. A view.
  const TimedFragment& timed() const { return recording->timeline.fragments[index]; }
  const HeaderPointer& header() const { return recording->headers.at(timed().segment); }
  /// Whether it is the newest of the recording, as far as that was read.
  bool isLast() const { return index + 1 == recording->timeline.fragments.size(); }
  /// When it starts, in ms since 1970-01-01 UTC.
  std::int64_t wallMs() const;
  /// The same fragment without the others of its recording, to be kept for long.
  PlayedFragment alone() const;
};

/// How one fragment leads to the next.
struct FragmentStep {
  /// Whether some time is missing between them.
  bool isGap = false;
  /// From the start of the one to that of the other on a time line without gaps, in ms.
  std::uint64_t distanceMs = 0;
};

/// The step to `to`, the next fragment of the same recording or the first of another. A recording that begins where the
/// last one ended continues it without a gap.
FragmentStep stepBetween(const PlayedFragment& from, const PlayedFragment& to);

}  // namespace host::serve
