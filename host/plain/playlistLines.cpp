#include "host/plain/playlistLines.h"

#include <fmt/format.h>

#include <algorithm>

#include "util/milliseconds.h"

namespace host {

using qvs::util::kMillisecondsPerSecond;

std::string playlistHead(const RecordedTimeline& timeline) {
  std::uint64_t longest = 0;
  for (const TimedFragment& fragment : timeline.fragments) longest = std::max(longest, fragment.durationMs);
  return fmt::format(
      "#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:{}\n"
      "#EXT-X-INDEPENDENT-SEGMENTS\n",
      roundedSeconds(longest), timeline.ended ? "VOD" : "EVENT");
}

std::uint64_t roundedSeconds(std::uint64_t durationMs) {
  // At least one: players of a running recording wait that long before they load the list again.
  return std::max<std::uint64_t>((durationMs + kMillisecondsPerSecond / 2) / kMillisecondsPerSecond, 1);
}

std::string playlistDuration(std::uint64_t durationMs) {
  return fmt::format("#EXTINF:{}.{:03},\n", durationMs / kMillisecondsPerSecond, durationMs % kMillisecondsPerSecond);
}

std::string playlistEnd(const RecordedTimeline& timeline) {
  return timeline.ended ? "#EXT-X-ENDLIST\n" : "";
}

}  // namespace host
