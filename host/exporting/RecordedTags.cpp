#include "host/exporting/RecordedTags.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/errors.h"
#include "host/files/inFile.h"
#include "host/files/tracks.h"
#include "packaging/tagCodec.h"

namespace host {

using namespace krvo::container;
using ruvo::k2rpkgutil::kAudioTag;
using ruvo::k2rpkgutil::kVideoTag;

namespace {

using Bytes = std::vector<std::byte>;

Bytes dataOf(FileView& file, const StoredTag& tag) {
  Bytes data(tag.dataSize);
  file.read(tag.dataOffset(), data);
  return data;
}

std::vector<TagContent> tagsOf(OpenSegment& segment, std::uint64_t position) {
  const Fragment fragment = segment.reader().readFragment(position);
  std::vector<TagContent> tags;
  for (const StoredTag& place : segment.reader().readTags(fragment))
    tags.push_back(readTag(segment.file(), place.offset, place.end() - place.offset, fragment.boxes.end()));
  return tags;
}

}  // namespace

/// Walks once over the tags of the fragments, and passes those in the range on.
class RecordedTags::Walker {
 public:
  Walker(const Movie& movie, const TimeRange& range, const std::function<void(const RecordedTag&)>& take)
      : movie_(movie), range_(range), take_(take) {}

  bool isDone() const { return done_; }

  void addFragment(OpenSegment& segment, std::uint64_t position, bool endsBeforeRange) {
    const std::vector<TagContent> tags = tagsOf(segment, position);
    if (tags.empty()) return;
    // Also from a fragment before the range: times count from the first tag of the recording.
    if (!firstTimestampMs_) firstTimestampMs_ = tags.front().place.timestamp;
    if (endsBeforeRange) return;
    std::size_t first = 0;
    if (!begun_) {
      first = firstInRange(tags);
      if (first == tags.size()) return;
      begin(segment.file(), tags, first);
    }
    for (std::size_t i = first; i < tags.size() && !done_; ++i) add(segment.file(), tags[i]);
  }

 private:
  /// Time of a tag in ms from the first one.
  std::uint64_t timeMsOf(const TagContent& tag) const { return tag.place.timestamp - *firstTimestampMs_; }

  /// Index of the tag with which the range begins, in the first fragment that reaches into it; the number of tags if
  /// this one does not.
  std::size_t firstInRange(const std::vector<TagContent>& tags) const {
    if (range_.fromMs == 0) return 0;
    const bool hasVideo = std::any_of(tags.begin(), tags.end(), [](const auto& tag) { return tag.isVideo(); });
    std::size_t first = tags.size();
    for (std::size_t i = 0; i < tags.size(); ++i) {
      const bool isInRange = timeMsOf(tags[i]) >= range_.fromMs;
      // The key frame, not the tag in the range: between them are the frames that are needed to decode it.
      if (isInRange && (first != tags.size() || !hasVideo)) return hasVideo ? first : i;
      if (hasVideo && tags[i].isKeyFrame() && !tags[i].isSequenceHeader()) first = i;
    }
    return tags.size();
  }

  /// Passes on the configuration that each track has there, in the order in which the recording got its tracks. A track
  /// whose configuration only comes later in the fragment gets that one now.
  void begin(FileView& file, const std::vector<TagContent>& tags, std::size_t first) {
    begun_ = true;
    std::map<std::uint8_t, TagContent> chosen;
    for (std::size_t i = 0; i < tags.size(); ++i) {
      if (tags[i].isSequenceHeader() && (i < first || !chosen.contains(tags[i].type())))
        chosen[tags[i].type()] = tags[i];
    }
    for (const auto& track : movie_.tracks) {
      const auto found = chosen.find(track->isVideo() ? kVideoTag : kAudioTag);
      if (found == chosen.end() || track->isHint()) continue;
      // Its own timestamp may be before the range.
      found->second.place.timestamp = tags[first].place.timestamp;
      give(file, found->second);
      chosen.erase(found);
    }
  }

  void add(FileView& file, const TagContent& tag) {
    if (timeMsOf(tag) >= range_.toMs) {
      done_ = true;
      return;
    }
    give(file, tag);
  }

  /// Passes a tag on, unless it is a configuration that decoders have already.
  void give(FileView& file, const TagContent& tag) {
    const Bytes data = dataOf(file, tag.place);
    if (tag.isSequenceHeader()) {
      Bytes& configuration = configurations_[tag.type()];
      if (configuration == data) return;
      configuration = data;
    }
    take_({.content = tag, .data = data});
  }

  const Movie& movie_;
  TimeRange range_;
  const std::function<void(const RecordedTag&)>& take_;
  std::optional<std::uint32_t> firstTimestampMs_;
  bool begun_ = false;
  bool done_ = false;
  /// By tag type: the configuration that was passed on last.
  std::map<std::uint8_t, Bytes> configurations_;
};

RecordedTags::RecordedTags(const RecordingDirectory& directory)
    : directory_(directory), segments_(readRecordedContent(directory).segments) {
  if (segments_.empty()) throw CommandError(fmt::format("'{}' has no fragment yet", directory.path));
  const std::string path = directory.pathOf(directory.segmentName(segments_.front().number));
  movie_ = inFile(path, [&] { return OpenSegment(path).reader().movie(); });
  if (hasProtectedTrack(movie_))
    throw CommandError(fmt::format("'{}' is protected; k2r unprotect makes a clear recording", directory.path));
}

bool RecordedTags::forEach(const TimeRange& range, const std::function<void(const RecordedTag&)>& take) {
  Walker walker(movie_, range, take);
  const std::uint64_t start = segments_.front().fragments.front().time;
  for (auto segment = segments_.begin(); segment != segments_.end() && !walker.isDone(); ++segment) {
    const std::string path = directory_.pathOf(directory_.segmentName(segment->number));
    inFile(path, [&] {
      OpenSegment open(path);
      for (auto entry = segment->fragments.begin(); entry != segment->fragments.end() && !walker.isDone(); ++entry) {
        // A fragment that ends before the range is still opened, because the first one has the time of the first tag.
        const auto next = std::next(entry);
        const bool isBefore =
            next != segment->fragments.end() && next->time - start <= range.fromMs && range.fromMs != 0;
        walker.addFragment(open, entry->afraOffset, isBefore);
      }
    });
  }
  return !walker.isDone();
}

}  // namespace host
