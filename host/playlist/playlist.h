#pragma once

#include <string>

#include "host/files/RecordingDirectory.h"
#include "host/plain/RecordedTimeline.h"

namespace host {

/// A media playlist (RFC 8216, 4.3) of version 7 over the segment files as they are: each fragment a byte range from
/// its `moof` to the end of its `mdat`, the header of its file an EXT-X-MAP, and a gap in time a discontinuity.
/// `prefix` stands in front of the names of the segment files; names are percent-encoded (RFC 3986, 2.1).
std::string playlistText(const RecordedTimeline& timeline, const RecordingDirectory& directory,
                         const std::string& prefix);

/// Percent-encodes all of a path but letters, digits, `-._~` and slashes.
std::string encodedPath(const std::string& path);

}  // namespace host
