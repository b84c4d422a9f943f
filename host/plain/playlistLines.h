#pragma once

#include <string>

#include "host/plain/RecordedTimeline.h"

namespace host {

// Lines that every media playlist over a recording has (RFC 8216, 4.3).

/// All in front of the first fragment. EXT-X-TARGETDURATION is whole seconds, rounded, of the longest fragment.
std::string playlistHead(const RecordedTimeline& timeline);
/// The EXTINF line of a fragment.
std::string playlistDuration(const TimedFragment& fragment);
/// What ends the list of a recording that was stopped; empty while it runs.
std::string playlistEnd(const RecordedTimeline& timeline);

}  // namespace host
