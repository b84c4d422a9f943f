#include "host/files/RecordedSegments.h"

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>
#include <iterator>

#include "host/errors.h"
#include "host/files/inFile.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "platform/container/reading/SegmentError.h"

namespace host {

using namespace krvo::container;
using ruvo::k2r::AfraEntry;

namespace {

/// Runs `read` on the content of a small file.
template <typename Read>
auto readNamed(const RecordingDirectory& directory, const std::string& name, const Read& read) {
  const std::string path = directory.pathOf(name);
  return inFile(path, [&] { return read(readSmallFile(path)); });
}

RecordedSegment readIndexFile(const RecordingDirectory& directory, std::uint32_t number, std::uint64_t endMs) {
  RecordedSegment segment{.number = number, .fragments = {}};
  const auto index =
      readNamed(directory, directory.indexName(number), [](const auto& bytes) { return parseAfra(bytes); });
  std::copy_if(index.globalEntries.begin(), index.globalEntries.end(), std::back_inserter(segment.fragments),
               [endMs](const AfraEntry& entry) { return entry.isWritten() && entry.time < endMs; });
  return segment;
}

/// `attempt` runs the reading of one file, and decides what becomes of its errors.
template <typename Attempt>
RecordedContent readContent(const RecordingDirectory& directory, std::uint64_t endWithoutBootstrap,
                            const Attempt& attempt) {
  if (directory.empty()) throw CommandError(fmt::format("'{}' holds no recording", directory.path));
  RecordedContent content;
  std::uint64_t endMs = endWithoutBootstrap;
  attempt([&] {
    if (!directory.hasBootstrap) return;
    const auto bootstrap =
        readNamed(directory, directory.bootstrapName(), [](const auto& bytes) { return parseBootstrap(bytes); });
    content.stopped = isStopped(bootstrap);
    endMs = bootstrap.currentMediaTime;
  });
  for (const std::uint32_t number : directory.indexes) {
    attempt([&] {
      RecordedSegment segment = readIndexFile(directory, number, endMs);
      if (!segment.fragments.empty()) content.segments.push_back(std::move(segment));
    });
  }
  return content;
}

}  // namespace

RecordedContent readRecordedContent(const RecordingDirectory& directory) {
  return readContent(directory, 0, [](const auto& read) { read(); });
}

RecordedContent readRecordedContent(const RecordingDirectory& directory, std::vector<std::string>& faults) {
  return readContent(directory, UINT64_MAX, [&faults](const auto& read) {
    try {
      read();
    } catch (const CommandError& error) {
      faults.emplace_back(error.what());
    }
  });
}

bool hasSegmentHeader(const std::string& path) {
  try {
    const OpenSegment segment(path);
    return true;
  } catch (const SegmentError&) {
    return false;
  }
}

const Track* leadingTrack(const Movie& movie) {
  for (const FourCC handler : {"vide"_4cc, "soun"_4cc, "meta"_4cc}) {
    if (const Track* const track = findTrack(movie, handler)) return track;
  }
  return nullptr;
}

TimeSpan timeSpanOf(const Fragment& fragment, const Track* track, std::uint64_t otherwise) {
  constexpr std::uint64_t kMillisecondsASecond = 1000;
  const auto own = std::find_if(fragment.tracks.begin(), fragment.tracks.end(), [track](const TrackFragment& part) {
    return track != nullptr && part.trackId == track->id;
  });
  if (own == fragment.tracks.end() || own->samples.empty()) return {otherwise, otherwise};
  const auto inMilliseconds = [scale = std::max(track->timescale, 1U)](std::uint64_t time) {
    return scale == kMillisecondsASecond
               ? time
               : time / scale * kMillisecondsASecond + time % scale * kMillisecondsASecond / scale;
  };
  const StoredSample& last = own->samples.back();
  return {inMilliseconds(own->samples.front().decodeTime), inMilliseconds(last.decodeTime + last.duration)};
}

}  // namespace host
