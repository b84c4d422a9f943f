#pragma once

#include <string>

#include "host/plain/RecordedTimeline.h"

namespace host {

// Lines of every media playlist for a recording (RFC 8216, 4.3).

/// All lines before the first fragment. EXT-X-TARGETDURATION is the longest fragment in whole seconds, rounded.
std::string playlistHead(const RecordedTimeline& timeline);
/// The EXTINF line of a fragment of this length, in seconds with three decimals.
std::string playlistDuration(std::uint64_t durationMs);
/// A length in whole seconds, as EXT-X-TARGETDURATION requires: rounded, at least 1.
std::uint64_t roundedSeconds(std::uint64_t durationMs);
/// The end tag if the recording was stopped; empty while it is running, so that players read the list again.
std::string playlistEnd(const RecordedTimeline& timeline);

}  // namespace host
