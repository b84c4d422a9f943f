#include "host/record/StoredPart.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/inFile.h"
#include "host/files/tracks.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/boxes.h"
#include "util/tagHeader.h"

namespace host {

using krvo::container::Fragment;
using krvo::container::StoredSample;
using krvo::container::TrackFragment;
using qvs::util::operator""_4cc;

namespace {

class PartReader {
 public:
  PartReader(const RecordingDirectory& directory, std::uint32_t lastFragment)
      : directory_(directory), lastFragment_(lastFragment) {}

  StoredPart read() {
    const RecordedContent content = readRecordedContent(directory_);
    part_.hasFragments = !content.segments.empty();
    if (part_.hasFragments && !content.stopped) part_.unfinished = "the bootstrap has no end mark";
    for (const RecordedSegment& segment : content.segments) {
      // Also without a new fragment: its table says whether the recording was finished.
      const bool isLast = &segment == &content.segments.back();
      if (isLast || segment.fragments.back().fragment > lastFragment_) readSegment(segment);
    }
    if (part_.messages.messages != 0) part_.spanMs = static_cast<std::uint32_t>(lastMs_ - firstMs_);
    return std::move(part_);
  }

 private:
  void readSegment(const RecordedSegment& recorded) {
    // A small window: only the boxes of each fragment are read, and they are far apart.
    constexpr std::size_t kWindow = std::size_t{16} << 10;
    const std::string name = directory_.segmentName(recorded.number);
    const std::string path = directory_.pathOf(name);
    inFile(path, [&] {
      OpenSegment segment(path, kWindow);
      const auto& movie = segment.reader().movie();
      part_.isProtected = part_.isProtected || hasProtectedTrack(movie);
      const auto* const hints = findTrack(movie, "hint"_4cc);
      for (const auto& entry : recorded.fragments) {
        if (entry.fragment <= lastFragment_ || hints == nullptr) continue;
        count(segment.reader().readFragment(entry.afraOffset), hints->id);
      }
      if (part_.unfinished.empty() && !hasAccessTable(segment.file())) {
        part_.unfinished = fmt::format("'{}' has no table of random access points", name);
      }
    });
  }

  /// Counts the tags (samples of the hint track) that contain a sample of a media track. The others are configurations
  /// that the recorder added, which were never received as messages.
  void count(const Fragment& fragment, std::uint32_t hintId) {
    ++part_.fragments;
    const auto hint = std::find_if(fragment.tracks.begin(), fragment.tracks.end(),
                                   [hintId](const TrackFragment& track) { return track.trackId == hintId; });
    if (hint == fragment.tracks.end()) return;
    const std::vector<StoredSample>& tags = hint->samples;
    for (const TrackFragment& track : fragment.tracks) {
      if (track.trackId == hintId) continue;
      // Both lists are in the order of the file, so one pass finds the tag around each sample.
      auto tag = tags.begin();
      for (const StoredSample& sample : track.samples) {
        while (tag != tags.end() && tag->offset + tag->size <= sample.offset) ++tag;
        if (tag == tags.end()) break;
        part_.messages.add(tag->size - qvs::util::kTagOverhead);
        firstMs_ = std::min(firstMs_, tag->decodeTime);
        lastMs_ = std::max(lastMs_, tag->decodeTime);
      }
    }
  }

  /// Whether the file ends in an `mfra`, whose last box contains its size (ISO/IEC 14496-12, 8.8.11).
  static bool hasAccessTable(FileView& file) {
    constexpr std::uint64_t kSizeField = 4;
    if (file.size() < kSizeField) return false;
    const std::uint32_t size = qvs::util::ByteReader(file.view(file.size() - kSizeField, kSizeField)).u32();
    if (size > file.size()) return false;
    try {
      const auto box = krvo::container::readBoxAt(file, file.size() - size);
      return box.type == "mfra"_4cc && box.end() == file.size();
    } catch (const krvo::container::SegmentError&) {
      return false;
    }
  }

  const RecordingDirectory& directory_;
  std::uint32_t lastFragment_;
  StoredPart part_;
  std::uint64_t firstMs_ = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t lastMs_ = 0;
};

}  // namespace

StoredPart readStoredPart(const OutputDirectory& place, std::uint32_t lastFragment) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  if (directory.empty()) return {};
  return PartReader(directory, lastFragment).read();
}

}  // namespace host
