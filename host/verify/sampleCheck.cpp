#include "host/verify/sampleCheck.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/verify/tagCheck.h"
#include "util/tagHeader.h"

namespace host {

using krvo::container::StoredSample;
using krvo::container::Track;
using krvo::container::TrackFragment;
using qvs::util::kTagHeaderSize;
using qvs::util::toText;
using qvs::util::operator""_4cc;

namespace {

bool makesSampleOf(const Track& track, const TagContent& tag) {
  if (!tag.isRecordable() || tag.isSequenceHeader()) return false;
  switch (track.handler) {
    case "vide"_4cc:
      return tag.isVideo();
    case "soun"_4cc:
      return tag.isAudio();
    default:
      return !tag.isVideo() && !tag.isAudio();
  }
}

ExpectedSample expectMediaSample(const Track& track, const TagContent& tag) {
  const std::uint32_t start = tag.sampleOffset.value_or(0);
  return {.timestamp = tag.place.timestamp,
          .offset = tag.place.offset + kTagHeaderSize + start,
          .size = tag.place.dataSize - start,
          .compositionOffset = track.isVideo() ? tag.compositionTime : 0,
          .sync = !track.isVideo() || tag.isKeyFrame()};
}

/// The duration of a sample, in ms: the distance to the next one. The last sample has that of the sample before it.
/// There must be two samples or more.
std::uint32_t expectDuration(const std::vector<ExpectedSample>& samples, std::size_t index) {
  const std::size_t from = std::min(index, samples.size() - 2);
  const std::uint32_t time = samples[from].timestamp;
  const std::uint32_t next = samples[from + 1].timestamp;
  return next < time ? 0 : next - time;  // times that go back are legal, and a duration is unsigned
}

/// Whether the only sample of a track in a fragment may have its duration: a recorder takes the distance from the
/// track's last sample in the previous fragment. The first versions wrote 0.
bool mayLast(const SegmentContext& segment, std::uint32_t trackId, const StoredSample& lone) {
  if (lone.duration == 0 || !segment.lastTimes) return true;
  const auto before = segment.lastTimes->find(trackId);
  return before != segment.lastTimes->end() && lone.decodeTime == before->second + lone.duration;
}

/// Compares two lists of samples of one track. Reports only the first difference of each field: one missing sample
/// shifts all that follow.
class TrackComparison {
 public:
  TrackComparison(const FileFindings& out, std::string track) : out_(out), track_(std::move(track)) {}

  void run(const std::vector<ExpectedSample>& expected, const std::vector<StoredSample>& found) {
    const std::size_t count = std::min(expected.size(), found.size());
    for (std::size_t i = 0; i < count; ++i) {
      const ExpectedSample& want = expected[i];
      const StoredSample& have = found[i];
      compare(kOffset, "place", want.offset, have.offset, have, i);
      compare(kSize, "size", want.size, have.size, have, i);
      if (expected.size() > 1) compare(kDuration, "duration", expectDuration(expected, i), have.duration, have, i);
      compare(kComposition, "composition offset", want.compositionOffset, have.compositionOffset, have, i);
      compare(kSync, "sync", want.sync ? 1 : 0, have.sync ? 1 : 0, have, i);
    }
  }

 private:
  enum Field { kOffset, kSize, kDuration, kComposition, kSync, kFieldCount };

  template <typename Number>
  void compare(Field field, const char* name, Number expected, Number found, const StoredSample& sample,
               std::size_t index) {
    if (expected == found || reported_[field]) return;
    reported_[field] = true;
    out_.damage(sample.fieldsOffset, fmt::format("{} track: sample {}: {}: expected {}, found {}", track_, index + 1,
                                                 name, expected, found));
  }

  const FileFindings& out_;
  std::string track_;
  bool reported_[kFieldCount] = {};
};

/// Whether all samples of the track follow from the tags. A protected tag that is too short to show its codec may or
/// may not have one.
bool areSamplesKnown(const Track& track, const std::vector<TagContent>& tags) {
  return track.isHint() || std::none_of(tags.begin(), tags.end(), [&track](const TagContent& tag) {
           return tag.hidesCodec() && tag.isVideo() == track.isVideo();
         });
}

void checkTrack(SegmentContext& segment, const FragmentContent& content, const Track& track) {
  if (!areSamplesKnown(track, content.tags)) return;
  const FileFindings& out = segment.out;
  const std::vector<ExpectedSample> expected = expectSamples(track, content.tags);
  const auto own = std::find_if(content.tracks->begin(), content.tracks->end(),
                                [&track](const TrackFragment& fragment) { return fragment.trackId == track.id; });
  const std::string name = toText(track.handler);
  if (own == content.tracks->end()) {
    if (!expected.empty()) out.damage(content.boxes.moof.offset, fmt::format("moof: no traf of the {} track", name));
    return;
  }
  out.expect(own->offset, fmt::format("{} track: samples", name), expected.size(), own->samples.size());
  if (!expected.empty()) {
    segment.bases.add(out.file(), own->offset,
                      expected.front().timestamp - static_cast<std::uint32_t>(own->decodeTime));
    out.expect(own->offset, fmt::format("{} track: high half of the first sample's time", name), 0,
               own->decodeTime >> 32);
  }
  TrackComparison(out, name).run(expected, own->samples);
  if (expected.size() == 1 && own->samples.size() == 1 && !mayLast(segment, track.id, own->samples.front())) {
    out.damage(own->samples.front().fieldsOffset,
               fmt::format("{} track: duration of its only sample: found {}", name, own->samples.front().duration));
  }
}

}  // namespace

std::vector<ExpectedSample> expectSamples(const Track& track, const std::vector<TagContent>& tags) {
  std::vector<ExpectedSample> samples;
  for (const TagContent& tag : tags) {
    if (track.isHint()) {
      samples.push_back({.timestamp = tag.place.timestamp,
                         .offset = tag.place.offset,
                         .size = static_cast<std::uint32_t>(tag.size()),
                         .sync = true});
    } else if (makesSampleOf(track, tag)) {
      const ExpectedSample sample = expectMediaSample(track, tag);
      // A recorder writes no entry for an empty sample.
      if (sample.size != 0) samples.push_back(sample);
    }
  }
  return samples;
}

void correctTagTimes(const SegmentContext& segment, const std::vector<StoredSample>& hints,
                     std::vector<TagContent>& tags) {
  const std::size_t count = std::min(hints.size(), tags.size());
  const auto base = [&](std::size_t i) {
    return tags[i].place.timestamp - static_cast<std::uint32_t>(hints[i].decodeTime);
  };
  for (std::size_t i = 0; i < count; ++i) {
    const auto before = i == 0 ? segment.bases.base() : base(i - 1);
    if (!before || base(i) == *before) continue;
    const bool isLast = i + 1 == count;
    // The last tag has no successor. A recorder gives its sample the duration of the one before. If the two are equal,
    // the time of the sample is right, and that of the tag is wrong.
    const bool restAgrees = isLast ? i > 0 && hints[i].duration == hints[i - 1].duration : base(i + 1) == *before;
    if (!restAgrees) continue;
    const std::uint32_t time = *before + static_cast<std::uint32_t>(hints[i].decodeTime);
    segment.out.expect(tags[i].place.offset + kTagTimeOffset, "tag: time", time, tags[i].place.timestamp);
    tags[i].place.timestamp = time;
  }
}

void checkSamples(SegmentContext& segment, const FragmentContent& content) {
  for (const auto& track : segment.movie.tracks) checkTrack(segment, content, *track);
  segment.lastTimes.emplace();
  for (const TrackFragment& part : *content.tracks) {
    if (!part.samples.empty()) segment.lastTimes->emplace(part.trackId, part.samples.back().decodeTime);
  }
}

}  // namespace host
