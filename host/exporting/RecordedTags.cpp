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

/// One pass over the tags.
class RecordedTags::Run {
 public:
  Run(const Movie& movie, const TimeRange& range, const std::function<void(const RecordedTag&)>& take)
      : movie_(movie), range_(range), take_(take) {}

  bool isDone() const { return done_; }

  void addFragment(OpenSegment& segment, std::uint64_t position, bool endsBeforeRange) {
    const std::vector<TagContent> tags = tagsOf(segment, position);
    if (tags.empty()) return;
    if (!firstTime_) firstTime_ = tags.front().place.timestamp;
    if (endsBeforeRange) return;
    std::size_t first = 0;
    if (!begun_) {
      first = firstOf(tags);
      if (first == tags.size()) return;
      begin(segment.file(), tags, first);
    }
    for (std::size_t i = first; i < tags.size() && !done_; ++i) add(segment.file(), tags[i]);
  }

 private:
  std::uint64_t timeOf(const TagContent& tag) const { return tag.place.timestamp - *firstTime_; }

  /// The first tag of the range in a fragment; the number of tags if none of them is in it.
  std::size_t firstOf(const std::vector<TagContent>& tags) const {
    if (range_.from == 0) return 0;
    const bool hasVideo = std::any_of(tags.begin(), tags.end(), [](const auto& tag) { return tag.isVideo(); });
    std::size_t first = tags.size();
    for (std::size_t i = 0; i < tags.size(); ++i) {
      const bool isInRange = timeOf(tags[i]) >= range_.from;
      if (isInRange && (first != tags.size() || !hasVideo)) return hasVideo ? first : i;
      if (hasVideo && tags[i].isKeyFrame() && !tags[i].isSequenceHeader()) first = i;
    }
    return tags.size();
  }

  /// Gives the configuration of each track at the first tag, in the order in which the tracks came up in the recording.
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
      found->second.place.timestamp = tags[first].place.timestamp;
      give(file, found->second);
      chosen.erase(found);
    }
  }

  void add(FileView& file, const TagContent& tag) {
    if (timeOf(tag) >= range_.to) {
      done_ = true;
      return;
    }
    give(file, tag);
  }

  /// Leaves out a configuration that decoders already have.
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
  std::optional<std::uint32_t> firstTime_;
  bool begun_ = false;
  bool done_ = false;
  /// By the type of tag, the last one that was given.
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
  Run run(movie_, range, take);
  const std::uint64_t start = segments_.front().fragments.front().time;
  for (auto segment = segments_.begin(); segment != segments_.end() && !run.isDone(); ++segment) {
    const std::string path = directory_.pathOf(directory_.segmentName(segment->number));
    inFile(path, [&] {
      OpenSegment open(path);
      for (auto entry = segment->fragments.begin(); entry != segment->fragments.end() && !run.isDone(); ++entry) {
        const auto next = std::next(entry);
        const bool isBefore = next != segment->fragments.end() && next->time - start <= range.from && range.from != 0;
        run.addFragment(open, entry->afraOffset, isBefore);
      }
    });
  }
  return !run.isDone();
}

}  // namespace host
