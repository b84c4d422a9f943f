#include "platform/container/reading/moofReader.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "platform/container/reading/fragmentFlags.h"
#include "util/tagHeader.h"

namespace krvo::container {
namespace {

using qvs::util::ByteReader;

/// The values from the `tfhd` for all samples of a `traf`. Those that it leaves out come from the `trex`, which in our
/// segments has 1, 0, 0, 0 (the movie's reader refuses others).
struct Defaults {
  std::uint32_t description = 1;
  std::uint32_t duration = 0;
  std::uint32_t size = 0;
  std::uint32_t flags = 0;
};

/// Reads one `moof`. The number of samples is limited by the bytes of the `mdat`: each tag is one sample of the hint
/// track and at most one of another. A damaged count therefore costs memory in proportion to the file at most.
class MoofReader {
 public:
  MoofReader(const FragmentBoxes& boxes, const Movie& movie)
      : boxes_(boxes), movie_(movie), samplesLeft_(2 * (boxes.mdat.payloadSize() / qvs::util::kTagOverhead)) {}

  std::vector<TrackFragment> read(LoadedBox& moof) {
    forEachBox(moof, [this](LoadedBox& box) {
      if (box.type == "traf"_4cc) readTraf(box);
    });
    return std::move(tracks_);
  }

 private:
  void readTraf(LoadedBox& traf) {
    TrackFragment track;
    track.offset = traf.offset;
    Defaults defaults;
    // Unless a `trun` has a data offset, samples begin at the base, which is the `moof`.
    nextOffset_ = boxes_.moof.offset;
    nextTime_ = 0;
    run_ = 0;
    forEachBox(traf, [&](LoadedBox& box) {
      readBox(box, [&](ByteReader& in) {
        if (box.type == "tfhd"_4cc) readTfhd(in, track, defaults);
        if (box.type == "tfdt"_4cc) readTfdt(in, track);
        if (box.type == "trun"_4cc) readTrun(in, box.payloadOffset, track, defaults);
      });
    });
    readBox(traf, [&](ByteReader&) { demand(track.trackId != 0, "no `tfhd`"); });
    tracks_.push_back(std::move(track));
  }

  void readTfhd(ByteReader& in, TrackFragment& track, Defaults& defaults) {
    constexpr std::uint32_t kKnown =
        kTfhdDescriptionIndex | kTfhdDefaultDuration | kTfhdDefaultSize | kTfhdDefaultFlags;
    const std::uint32_t flags = qvs::util::readVersionAndFlags(in).flags;
    // Only offsets that count from the `moof` survive when a fragment is moved in a file.
    demand((flags & ~kKnown) == kTfhdDefaultBaseIsMoof, "no other base than the `moof` expected");
    demand(track.trackId == 0, "a second `tfhd`");
    track.trackId = in.u32();
    demand(std::any_of(movie_.tracks.begin(), movie_.tracks.end(),
                       [&track](const auto& known) { return known->id == track.trackId; }),
           "a track that `moov` does not have");
    demand(std::none_of(tracks_.begin(), tracks_.end(),
                        [&track](const TrackFragment& other) { return other.trackId == track.trackId; }),
           "a track that comes twice");
    if ((flags & kTfhdDescriptionIndex) != 0) defaults.description = in.u32();
    if ((flags & kTfhdDefaultDuration) != 0) defaults.duration = in.u32();
    if ((flags & kTfhdDefaultSize) != 0) defaults.size = in.u32();
    if ((flags & kTfhdDefaultFlags) != 0) defaults.flags = in.u32();
  }

  void readTfdt(ByteReader& in, TrackFragment& track) {
    const std::uint8_t version = qvs::util::readVersionAndFlags(in).version;
    demand(version <= 1, "unknown version");
    // A `tfdt` after a `trun` would change the time of samples that have one already.
    demand(track.samples.empty(), "a `tfdt` after samples");
    track.decodeTime = version == 1 ? in.u64() : in.u32();
    nextTime_ = track.decodeTime;
  }

  /// `payloadOffset` is that of the box in the file.
  void readTrun(ByteReader& in, std::uint64_t payloadOffset, TrackFragment& track, const Defaults& defaults) {
    demand(track.trackId != 0, "a `trun` before `tfhd`");
    const auto word = qvs::util::readVersionAndFlags(in);
    demand(word.version <= 1, "unknown version");
    const std::uint32_t count = in.u32();
    if ((word.flags & kTrunDataOffset) != 0) {
      // Signed in the format. A negative one leads to a place before the `mdat` and is refused in place().
      const std::int64_t distance = in.i32();
      nextOffset_ = boxes_.moof.offset + static_cast<std::uint64_t>(distance);
    }
    std::uint32_t firstFlags = defaults.flags;
    if ((word.flags & kTrunFirstSampleFlags) != 0) firstFlags = in.u32();

    // Both limits come before the loop: without sample fields, a count costs no bytes of the box.
    in.need(4ULL * count * static_cast<unsigned>(std::popcount(word.flags & kTrunSampleFields)));
    demand(count <= samplesLeft_, "more samples than there are tags");
    samplesLeft_ -= count;
    ++run_;
    for (std::uint32_t i = 0; i < count; ++i) {
      StoredSample sample;
      sample.fieldsOffset = payloadOffset + in.position();
      sample.duration = (word.flags & kTrunDurations) != 0 ? in.u32() : defaults.duration;
      sample.size = (word.flags & kTrunSizes) != 0 ? in.u32() : defaults.size;
      std::uint32_t flags = i == 0 ? firstFlags : defaults.flags;
      if ((word.flags & kTrunSampleFlags) != 0) flags = in.u32();
      if ((word.flags & kTrunCompositionOffsets) != 0) sample.compositionOffset = in.i32();
      sample.sync = (flags & kSampleIsNonSync) == 0;
      sample.description = defaults.description;
      place(sample);
      track.samples.push_back(sample);
    }
  }

  /// Gives the sample its time and its offset, both directly after the previous sample.
  void place(StoredSample& sample) {
    const BoxSpan& mdat = boxes_.mdat;
    sample.run = run_;
    sample.offset = nextOffset_;
    sample.decodeTime = nextTime_;
    demand(sample.size != 0, "a sample of no bytes");
    demand(sample.offset >= mdat.payloadOffset() && sample.offset < mdat.end() &&
               sample.size <= mdat.end() - sample.offset,
           "a sample outside the `mdat`");
    // Times are added up over all samples of the file's making, so the sum is checked each time.
    demand(sample.duration <= std::numeric_limits<std::uint64_t>::max() - nextTime_, "a time beyond 64 bits");
    nextOffset_ += sample.size;
    nextTime_ += sample.duration;
  }

  const FragmentBoxes& boxes_;
  const Movie& movie_;
  std::uint64_t samplesLeft_;
  std::vector<TrackFragment> tracks_;
  // Of the `traf` that is being read: where and when its next sample begins, and the number of its `trun`.
  std::uint64_t nextOffset_ = 0;
  std::uint64_t nextTime_ = 0;
  std::uint32_t run_ = 0;
};

}  // namespace

std::vector<TrackFragment> readTrackFragments(Source& source, const FragmentBoxes& boxes, const Movie& movie) {
  const auto payload = loadPayload(source, boxes.moof);
  LoadedBox moof = loadedBox(boxes.moof, payload);
  return MoofReader(boxes, movie).read(moof);
}

}  // namespace krvo::container
