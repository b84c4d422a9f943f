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

/// Gives a recording's tags back as the stream that it was made of: each track's configuration once, in front, then all
/// tags in order, over segments and gaps. A configuration that the recorder has stored again is left out; one that is
/// another comes where it stands. While the recording runs, what comes meanwhile is left out.
class RecordedTags {
 public:
  /// Throws CommandError where there is no recording, one without a fragment, or one whose samples are protected.
  explicit RecordedTags(const RecordingDirectory& directory);

  /// As the first segment has them.
  const krvo::container::Movie& movie() const { return movie_; }

  /// Calls `take` with each tag of the range. It begins with the last key frame at or before its start, so that it can
  /// be decoded; without video with the first tag in it. Throws CommandError for what cannot be read.
  void forEach(const TimeRange& range, const std::function<void(const RecordedTag&)>& take);

 private:
  class Run;

  const RecordingDirectory& directory_;
  std::vector<RecordedSegment> segments_;
  krvo::container::Movie movie_;
};

}  // namespace host
