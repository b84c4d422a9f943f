#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/serve/http/Body.h"
#include "host/serve/media/DatedRecording.h"

namespace host::serve {

/// A picture of a stream.
struct Snapshot {
  /// A JPEG file.
  Body body;
  /// When the picture was recorded, in milliseconds since 1970-01-01 UTC.
  std::int64_t timeMs = 0;
};

/// Makes a JPEG of the last key frame at or before `atMs`; without a time, of the newest. `recordings` of one stream by
/// rising begin; those that begin later are ignored, and those that have no such picture are passed over. Two pictures
/// are made at the same time; a call waits some seconds for its turn.
///
/// Any thread may call it. Throws HttpError: 404 if there is no such picture, 409 for a protected recording, 501 for a
/// picture that cannot be converted, and 503 if its turn does not come. Throws CommandError or another std::exception
/// for files that are malformed or cannot be read.
Snapshot snapshotAt(const std::vector<MediaRecording>& recordings, std::optional<std::int64_t> atMs = {});

}  // namespace host::serve
