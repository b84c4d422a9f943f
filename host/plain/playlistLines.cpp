#include "host/plain/playlistLines.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {

constexpr std::uint64_t kMillisecondsPerSecond = 1000;

std::string playlistHead(const RecordedTimeline& timeline) {
  // At least one second: players of a running recording wait that long before they load the list again.
  std::uint64_t longest = kMillisecondsPerSecond;
  for (const TimedFragment& fragment : timeline.fragments) longest = std::max(longest, fragment.durationMs);
  return fmt::format(
      "#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:{}\n"
      "#EXT-X-INDEPENDENT-SEGMENTS\n",
      (longest + kMillisecondsPerSecond / 2) / kMillisecondsPerSecond, timeline.ended ? "VOD" : "EVENT");
}

std::string playlistDuration(const TimedFragment& fragment) {
  return fmt::format("#EXTINF:{}.{:03},\n", fragment.durationMs / kMillisecondsPerSecond,
                     fragment.durationMs % kMillisecondsPerSecond);
}

std::string playlistEnd(const RecordedTimeline& timeline) {
  return timeline.ended ? "#EXT-X-ENDLIST\n" : "";
}

}  // namespace host
