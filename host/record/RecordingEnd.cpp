#include "host/record/RecordingEnd.h"

#include <algorithm>

#include "fragmentation/AfraIndex.h"
#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/TagContent.h"
#include "host/files/inFile.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "packaging/tagCodec.h"

namespace host {

using krvo::container::Fragment;
using krvo::container::Movie;
using qvs::util::operator""_4cc;
using ruvo::k2r::AfraEntry;

namespace {

/// The end of the recording according to its indexes.
struct IndexedEnd {
  std::uint32_t lastFragment = 0;
  /// The last entry with a position.
  AfraEntry lastWritten;
};

IndexedEnd readIndexes(const RecordingDirectory& directory) {
  IndexedEnd end;
  // Backwards from the last index: a segment that a roll-over has just begun may have no fragment yet.
  for (auto number = directory.indexes.rbegin(); number != directory.indexes.rend(); ++number) {
    const std::string path = directory.pathOf(directory.indexName(*number));
    const auto entries = inFile(path, [&] { return parseAfra(readSmallFile(path)); }).globalEntries;
    if (end.lastFragment == 0 && !entries.empty()) end.lastFragment = entries.back().fragment;
    const auto written =
        std::find_if(entries.rbegin(), entries.rend(), [](const AfraEntry& entry) { return entry.isWritten(); });
    if (written == entries.rend()) continue;
    end.lastWritten = *written;
    end.lastWritten.segment = *number;
    break;
  }
  return end;
}

TrackCodecs codecsOf(const Movie& movie) {
  const auto codecOf = [&movie](qvs::util::FourCC handler) -> std::optional<qvs::util::FourCC> {
    const auto* const track = findTrack(movie, handler);
    if (track == nullptr) return std::nullopt;
    return ruvo::k2rpkgutil::tagFormatCode(clearFormat(*track));
  };
  return {codecOf("soun"_4cc), codecOf("vide"_4cc), codecOf("meta"_4cc)};
}

/// The last tag of a fragment: its time, and the base time that its hint sample implies.
struct LastTag {
  std::uint32_t timeMs = 0;
  std::uint32_t baseMs = 0;
};

std::optional<LastTag> lastTagOf(OpenSegment& segment, const Fragment& fragment) {
  const auto* const hints = findTrack(segment.reader().movie(), "hint"_4cc);
  for (const auto& part : fragment.tracks) {
    if (hints == nullptr || part.trackId != hints->id || part.samples.empty()) continue;
    const auto& last = part.samples.back();
    const TagContent tag = readTag(segment.file(), last.offset, last.size, fragment.boxes.end());
    return LastTag{tag.place.timestamp, tag.place.timestamp - static_cast<std::uint32_t>(last.decodeTime)};
  }
  return std::nullopt;
}

}  // namespace

std::optional<RecordingEnd> readRecordingEnd(const OutputDirectory& place, std::uint32_t fragmentDuration) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  if (!directory.hasBootstrap) return std::nullopt;
  const std::string path = directory.pathOf(directory.bootstrapName());
  const auto bootstrap = inFile(path, [&] { return parseBootstrap(readSmallFile(path)); });
  const IndexedEnd indexed = readIndexes(directory);
  RecordingEnd end{.lastFragment = indexed.lastFragment, .codecs = {}};
  // The maximum of three: after a fragment that was held, samples may be later than both the bootstrap's end and the
  // slot of the last number.
  std::uint64_t endMs = std::max(bootstrap.currentMediaTime, std::uint64_t{indexed.lastFragment} * fragmentDuration);
  if (indexed.lastWritten.isWritten() && directory.segments.contains(indexed.lastWritten.segment)) {
    const std::string segmentPath = directory.pathOf(directory.segmentName(indexed.lastWritten.segment));
    inFile(segmentPath, [&] {
      OpenSegment segment(segmentPath);
      end.codecs = codecsOf(segment.reader().movie());
      const auto last = lastTagOf(segment, segment.reader().readFragment(indexed.lastWritten.afraOffset));
      if (!last) return;
      endMs = std::max(endMs, std::uint64_t{last->timeMs} + 1);
      end.baseMs = last->baseMs;
    });
  }
  end.continueMs = static_cast<std::uint32_t>((endMs + fragmentDuration - 1) / fragmentDuration * fragmentDuration);
  return end;
}

}  // namespace host
