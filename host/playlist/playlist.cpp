#include "host/playlist/playlist.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <optional>

#include "host/errors.h"
#include "host/files/RecordedSegments.h"
#include "host/files/inFile.h"
#include "host/files/tracks.h"

namespace host {

using namespace krvo::container;

namespace {

/// Encoders and the grid of milliseconds let frames of one stream stand that far apart from where they should.
constexpr std::uint64_t kTolerance = 500;

class Collector {
 public:
  explicit Collector(const RecordingDirectory& directory) : directory_(directory) {}

  Playlist collect() {
    const RecordedContent content = readRecordedContent(directory_);
    for (const RecordedSegment& segment : content.segments) addSegment(segment);
    joinTimes();
    playlist_.ended = content.stopped;
    return std::move(playlist_);
  }

 private:
  void addSegment(const RecordedSegment& segment) {
    const std::string path = directory_.pathOf(directory_.segmentName(segment.number));
    inFile(path, [&] {
      OpenSegment open(path);
      addFragments(segment, open.reader(), path);
    });
  }

  void addFragments(const RecordedSegment& segment, SegmentReader& reader, const std::string& path) {
    if (hasProtectedTrack(reader.movie()))
      throw CommandError(fmt::format("'{}' is protected; k2r unprotect makes a clear recording", path));
    const Track* const track = leadingTrack(reader.movie());
    playlist_.headerSizes.emplace_back(segment.number, reader.firstFragment());
    for (const auto& entry : segment.fragments) {
      const Fragment fragment = reader.readFragment(entry.afraOffset);
      const TimeSpan time = timeSpanOf(fragment, track, entry.time);
      const FragmentBoxes& boxes = fragment.boxes;
      playlist_.entries.push_back({.segment = segment.number,
                                   .startMs = time.start,
                                   .durationMs = time.end - time.start,
                                   .offset = boxes.moof.offset,
                                   .size = boxes.end() - boxes.moof.offset});
    }
  }

  /// A fragment lasts until the next one begins, as far as the one goes on where the other ends.
  void joinTimes() {
    auto& entries = playlist_.entries;
    for (std::size_t i = 1; i < entries.size(); ++i) {
      PlaylistEntry& before = entries[i - 1];
      const std::uint64_t end = before.startMs + before.durationMs;
      const std::uint64_t start = entries[i].startMs;
      const bool goesOn = start > before.startMs && std::max(start, end) - std::min(start, end) <= kTolerance;
      if (goesOn) before.durationMs = start - before.startMs;
      entries[i].isDiscontinuity = !goesOn;
    }
  }

  const RecordingDirectory& directory_;
  Playlist playlist_;
};

std::uint64_t headerSize(const Playlist& playlist, std::uint32_t segment) {
  const auto found = std::find_if(playlist.headerSizes.begin(), playlist.headerSizes.end(),
                                  [segment](const auto& item) { return item.first == segment; });
  return found == playlist.headerSizes.end() ? 0 : found->second;
}

/// Whole seconds, rounded, of the longest entry (RFC 8216, 4.3.3.1).
std::uint64_t targetDuration(const Playlist& playlist) {
  constexpr std::uint64_t kSecond = 1000;
  std::uint64_t longest = kSecond;
  for (const PlaylistEntry& entry : playlist.entries) longest = std::max(longest, entry.durationMs);
  return (longest + kSecond / 2) / kSecond;
}

}  // namespace

Playlist makePlaylist(const RecordingDirectory& directory) {
  return Collector(directory).collect();
}

std::string encodedPath(const std::string& path) {
  std::string text;
  for (const char c : path) {
    const auto code = static_cast<unsigned char>(c);
    const bool stays =
        code < 0x80 && (std::isalnum(code) != 0 || std::string_view("-._~/").find(c) != std::string::npos);
    text += stays ? std::string(1, c) : fmt::format("%{:02X}", code);
  }
  return text;
}

std::string playlistText(const Playlist& playlist, const RecordingDirectory& directory, const std::string& prefix) {
  std::string text = fmt::format(
      "#EXTM3U\n#EXT-X-VERSION:7\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:{}\n"
      "#EXT-X-INDEPENDENT-SEGMENTS\n",
      targetDuration(playlist), playlist.ended ? "VOD" : "EVENT");
  std::optional<std::uint32_t> segment;
  std::string uri;
  for (const PlaylistEntry& entry : playlist.entries) {
    if (entry.isDiscontinuity) text += "#EXT-X-DISCONTINUITY\n";
    if (segment != entry.segment) {
      segment = entry.segment;
      uri = encodedPath(prefix + directory.segmentName(entry.segment));
      text += fmt::format("#EXT-X-MAP:URI=\"{}\",BYTERANGE=\"{}@0\"\n", uri, headerSize(playlist, entry.segment));
    }
    text += fmt::format("#EXTINF:{}.{:03},\n#EXT-X-BYTERANGE:{}@{}\n{}\n", entry.durationMs / 1000,
                        entry.durationMs % 1000, entry.size, entry.offset, uri);
  }
  if (playlist.ended) text += "#EXT-X-ENDLIST\n";
  return text;
}

}  // namespace host
