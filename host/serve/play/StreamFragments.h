#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/play/PlayedRecording.h"
#include "host/serve/play/RecordingCache.h"
#include "host/serve/play/RecordingSource.h"

namespace host::serve {

/// Finds the fragments of streams that playlists need, over all recordings that can be played. Any thread may call it.
/// Operations may wait for a disk, and throw HttpError for a stream that does not exist.
class StreamFragments {
 public:
  /// Both outlive it.
  StreamFragments(const RecordingSource& source, RecordingCache& recordings)
      : source_(source), recordings_(recordings) {}

  /// Whether a recording can be played: one that waits for its repair may still change.
  static bool isPlayable(const RecordingInfo& info);
  /// A recording as it is now; null if it cannot be played.
  RecordingPointer open(const std::string& stream, const RecordingInfo& info);

  /// The newest fragments, as many as a live window needs, in the order in which they play. `nowMs` is the time of day
  /// in ms since 1970-01-01 UTC.
  std::vector<PlayedFragment> newest(const std::string& stream, std::int64_t nowMs);
  /// The fragments that follow `last`; nothing if the stream does not continue from there.
  std::optional<std::vector<PlayedFragment>> following(const std::string& stream, const PlayedFragment& last,
                                                       std::int64_t nowMs);
  /// Those with any time in [from, to), in the order in which they play.
  std::vector<PlayedFragment> in(const std::string& stream, std::int64_t fromMs, std::int64_t toMs);

 private:
  /// Those of the recordings that can be played, in the same order.
  std::vector<RecordingPointer> openAll(const std::string& stream, const std::vector<RecordingInfo>& infos);
  /// Appends the newest fragments since `fromMs`, the newest first.
  void collectNewest(const std::string& stream, std::int64_t fromMs, std::vector<PlayedFragment>& fragments);

  const RecordingSource& source_;
  RecordingCache& recordings_;
};

}  // namespace host::serve
