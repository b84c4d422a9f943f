#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/TagContent.h"

namespace host {

/// A part of a recording, in ms from its first tag; `toMs` is the first time after it.
struct TimeRange {
  std::uint64_t fromMs = 0;
  std::uint64_t toMs = std::numeric_limits<std::uint64_t>::max();
};

/// A tag with its data. The data are valid during the call that gets it.
struct RecordedTag {
  TagContent content;
  std::span<const std::byte> data;

  std::uint32_t timestampMs() const { return content.place.timestamp; }
};

/// Reads the tags of a recording as the stream from which it was made: the configuration of each track once, at the
/// start, then all tags in order, over segments and gaps. Configurations that the recorder repeated are left out; one
/// that differs stays where it is. What is recorded after the constructor is left out. `directory` outlives it. One
/// fragment's boxes and one tag are in memory at a time. Belongs to one thread.
class RecordedTags {
 public:
  /// Reads bootstrap and indexes. Throws CommandError if there is no recording, or it has no fragment or is protected.
  explicit RecordedTags(const RecordingDirectory& directory);

  /// The tracks, from the first segment.
  const krvo::container::Movie& movie() const { return movie_; }

  /// Calls `take` for each tag of the range, in order. With video, the range begins at the last key frame at or before
  /// its start, so that it can be decoded; without, at the first tag in it. Returns whether the recording ended before
  /// the range did. Throws CommandError for files that cannot be read, and passes on the exceptions of `take`.
  bool forEach(const TimeRange& range, const std::function<void(const RecordedTag&)>& take);

 private:
  class Walker;

  const RecordingDirectory& directory_;
  std::vector<RecordedSegment> segments_;
  krvo::container::Movie movie_;
};

}  // namespace host
