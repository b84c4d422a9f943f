#include "platform/container/fragmentCheck.h"

#include <algorithm>
#include <string>

#include "util/tagHeader.h"

namespace krvo::container {
namespace {

using Faults = std::vector<SegmentError>;
using Tags = std::vector<StoredTag>;

bool isHint(const Movie& movie, std::uint32_t trackId) {
  return std::any_of(movie.tracks.begin(), movie.tracks.end(),
                     [trackId](const auto& track) { return track->id == trackId && track->isHint(); });
}

std::string ofTrack(const TrackFragment& track) {
  return " of track " + std::to_string(track.trackId);
}

/// The tag that `offset` lies in; null where it lies in none.
const StoredTag* tagAt(const Tags& tags, std::uint64_t offset) {
  const auto behind = std::upper_bound(tags.begin(), tags.end(), offset,
                                       [](std::uint64_t at, const StoredTag& tag) { return at < tag.offset; });
  if (behind == tags.begin()) return nullptr;
  const StoredTag& tag = *(behind - 1);
  return offset < tag.end() ? &tag : nullptr;
}

void checkHintSamples(const TrackFragment& track, const Tags& tags, Faults& faults) {
  if (track.samples.size() != tags.size()) {
    faults.emplace_back(track.offset, std::to_string(tags.size()) + " samples" + ofTrack(track) +
                                          " expected, one for each tag, " + std::to_string(track.samples.size()) +
                                          " found");
    return;
  }
  for (std::size_t i = 0; i < tags.size(); ++i) {
    const StoredSample& sample = track.samples[i];
    if (sample.offset == tags[i].offset && sample.offset + sample.size == tags[i].end()) continue;
    faults.emplace_back(sample.offset,
                        "a sample" + ofTrack(track) + " expected that is the tag at " + std::to_string(tags[i].offset));
    return;
  }
}

void checkMediaSamples(const TrackFragment& track, const Tags& tags, Faults& faults) {
  std::uint64_t next = 0;
  for (const StoredSample& sample : track.samples) {
    const StoredTag* const tag = tagAt(tags, sample.offset);
    if (tag == nullptr || sample.offset < tag->dataOffset() ||
        sample.offset + sample.size > tag->end() - qvs::util::kTagBackPointerSize) {
      faults.emplace_back(sample.offset, "a sample" + ofTrack(track) + " expected that lies in the data of a tag");
    } else if (tag->offset < next) {
      faults.emplace_back(sample.offset, "a sample" + ofTrack(track) + " expected in a later tag than the one before");
    }
    next = tag == nullptr ? next : tag->end();
  }
}

void checkAccessPoints(const Fragment& fragment, const Tags& tags, Faults& faults) {
  for (const AccessPoint& point : fragment.accessPoints) {
    const std::uint64_t offset = fragment.boxes.position() + point.offset;
    const StoredTag* const tag = tagAt(tags, offset);
    if (tag != nullptr && tag->offset == offset) continue;
    faults.emplace_back(fragment.boxes.position(),
                        "`afra`: an entry leads to " + std::to_string(offset) + ", where no tag begins");
  }
}

}  // namespace

std::vector<SegmentError> checkFragment(const Fragment& fragment, const Tags& tags, const Movie& movie) {
  Faults faults;
  bool hinted = false;
  for (const TrackFragment& track : fragment.tracks) {
    if (isHint(movie, track.trackId)) {
      checkHintSamples(track, tags, faults);
      hinted = true;
    } else {
      checkMediaSamples(track, tags, faults);
    }
  }
  if (!hinted && !tags.empty()) faults.emplace_back(fragment.boxes.moof.offset, "no samples of the hint track");
  checkAccessPoints(fragment, tags, faults);
  return faults;
}

std::vector<SegmentError> checkSequence(const Fragment& before, const Fragment& after, const Movie& movie) {
  Faults faults;
  const std::uint64_t expected = std::uint64_t{before.sequenceNumber} + 1;
  if (after.sequenceNumber != expected) {
    faults.emplace_back(after.boxes.moof.offset, "sequence number " + std::to_string(expected) + " expected, " +
                                                     std::to_string(after.sequenceNumber) + " found");
  }
  for (const TrackFragment& track : after.tracks) {
    const auto same = std::find_if(before.tracks.begin(), before.tracks.end(),
                                   [&track](const TrackFragment& other) { return other.trackId == track.trackId; });
    if (same == before.tracks.end() || same->samples.empty()) continue;
    const auto& reached = isHint(movie, track.trackId) ? same->samples.front() : same->samples.back();
    if (track.decodeTime >= reached.decodeTime) continue;
    faults.emplace_back(track.offset, "a time from " + std::to_string(reached.decodeTime) +
                                          " on expected, where track " + std::to_string(track.trackId) + " was, " +
                                          std::to_string(track.decodeTime) + " found");
  }
  return faults;
}

}  // namespace krvo::container
