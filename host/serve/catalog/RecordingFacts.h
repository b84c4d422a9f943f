#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/serve/catalog/Catalog.h"
#include "host/serve/recordingName.h"

namespace host::serve {

/// What the files of a recording say, without reading a segment through: the names and sizes of its files, bootstrap,
/// indexes, the boxes of its first and its last fragment, and of the fragments around a gap.
struct RecordingFacts {
  enum class Kind {
    kRecording,
    /// There is no such directory.
    kMissing,
    /// It is a link or no directory, or contains what is no file of a recording of this name. It is never listed,
    /// counted or changed.
    kForeign,
    /// The directory cannot be read at the moment, for example since no descriptor is left.
    kUnread,
  } kind = Kind::kRecording;
  /// Never kInProgress, since the files do not say who writes them.
  RecordingState state = RecordingState::kFinished;
  /// First moment after the last sample, in ms since 1970-01-01 UTC.
  std::int64_t endMs = 0;
  std::uint64_t bytes = 0;
  /// Each gap that is longer than a fragment usually is, and most of the shorter ones.
  std::vector<TimeSpan> gaps = {};
  bool isProtected = false;
};

/// Reads the recording `name` in `folder`, a native path; a recorder may be writing it. Throws std::bad_alloc only:
/// whatever else goes wrong is in the result.
RecordingFacts readFacts(const std::string& folder, const RecordingName& name);

}  // namespace host::serve
