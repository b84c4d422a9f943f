#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/TagContent.h"

namespace host {

/// A part of a recording, in milliseconds from its first tag.
struct TimeRange {
  std::uint64_t from = 0;
  std::uint64_t to = std::numeric_limits<std::uint64_t>::max();
};

/// A tag with its data, which are valid during the call that gets it.
struct RecordedTag {
  TagContent content;
  std::span<const std::byte> data;

  std::uint32_t timestamp() const { return content.place.timestamp; }
};

/// The tags of a recording as the stream that it was made from: each track's configuration once, first, then all tags
/// in order, across segments and gaps. The copies of a configuration that the recorder stored are left out; one that
/// differs comes at its place. While the recording runs, what is added during the reading is left out.
class RecordedTags {
 public:
  /// Throws CommandError if there is no recording, if it has no fragment, or if its samples are protected.
  explicit RecordedTags(const RecordingDirectory& directory);

  /// The tracks, from the first segment.
  const krvo::container::Movie& movie() const { return movie_; }

  /// Calls `take` with each tag of the range. It begins with the last key frame at or before its start, so that it can
  /// be decoded; without video with the first tag in it. Returns whether the recording ended before the range did.
  /// Throws CommandError for what cannot be read.
  bool forEach(const TimeRange& range, const std::function<void(const RecordedTag&)>& take);

 private:
  class Run;

  const RecordingDirectory& directory_;
  std::vector<RecordedSegment> segments_;
  krvo::container::Movie movie_;
};

}  // namespace host
