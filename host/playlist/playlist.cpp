#include "host/playlist/playlist.h"

#include <fmt/format.h>

#include <cctype>
#include <optional>
#include <string_view>

#include "host/plain/playlistLines.h"

namespace host {

std::string encodedPath(const std::string& path) {
  std::string text;
  for (const char c : path) {
    const auto code = static_cast<unsigned char>(c);
    // The range first: for other bytes isalnum() would depend on the locale.
    const bool stays =
        code < 0x80 && (std::isalnum(code) != 0 || std::string_view("-._~/").find(c) != std::string::npos);
    text += stays ? std::string(1, c) : fmt::format("%{:02X}", code);
  }
  return text;
}

std::string playlistText(const RecordedTimeline& timeline, const RecordingDirectory& directory,
                         const std::string& prefix) {
  std::string text = playlistHead(timeline);
  std::optional<std::uint32_t> segment;
  std::string uri;
  for (const TimedFragment& fragment : timeline.fragments) {
    // The times in the segment files jump at a gap. Players need the tag to follow them.
    if (fragment.followsGap) text += "#EXT-X-DISCONTINUITY\n";
    // Each segment file has its own header, so the map changes with the file.
    if (segment != fragment.segment) {
      segment = fragment.segment;
      uri = encodedPath(prefix + directory.segmentName(fragment.segment));
      text +=
          fmt::format("#EXT-X-MAP:URI=\"{}\",BYTERANGE=\"{}@0\"\n", uri, timeline.segment(fragment.segment).headerSize);
    }
    const std::uint64_t offset = fragment.boxes.moof.offset;
    text += fmt::format("{}#EXT-X-BYTERANGE:{}@{}\n{}\n", playlistDuration(fragment.durationMs),
                        fragment.boxes.end() - offset, offset, uri);
  }
  return text + playlistEnd(timeline);
}

}  // namespace host
