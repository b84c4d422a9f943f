#pragma once

#include <string>

#include "host/files/RecordingDirectory.h"
#include "host/plain/RecordedTimeline.h"

namespace host {

/// A media playlist of version 7 (RFC 8216, 4.3) for the segment files as they are. Each fragment is a byte range from
/// its `moof` to the end of its `mdat`, the header of its file is an EXT-X-MAP, and a gap in time is a discontinuity.
/// `prefix` is put before the names of the segment files. Names are percent-encoded (RFC 3986, 2.1). Ends in
/// EXT-X-ENDLIST if the recording was stopped; players load it again otherwise.
std::string playlistText(const RecordedTimeline& timeline, const RecordingDirectory& directory,
                         const std::string& prefix);

/// Percent-encodes a path: all bytes but letters, digits, `-._~` and slashes.
std::string encodedPath(const std::string& path);

}  // namespace host
