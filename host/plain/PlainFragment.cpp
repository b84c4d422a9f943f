#include "host/plain/PlainFragment.h"

#include <algorithm>
#include <array>
#include <span>

#include "host/plain/TrackRun.h"
#include "host/plain/plainHeader.h"
#include "platform/container/reading/boxes.h"
#include "platform/container/reading/fragmentFlags.h"
#include "util/box.h"
#include "util/narrow.h"

namespace host {

using namespace krvo::container;
using qvs::util::BoxScope;
using qvs::util::BoxView;
using qvs::util::ByteReader;
using qvs::util::ByteWriter;

namespace {

/// Whether an AVC sample has parameter sets of its own, before its first slice (ISO/IEC 14496-10, 7.4.1). Reads the
/// headers of its NAL units only.
bool beginsWithParameterSets(Source& source, const StoredSample& sample, std::size_t lengthSize) {
  constexpr unsigned kLastSlice = 5;
  constexpr unsigned kSequenceParameterSet = 7;
  std::array<std::byte, 5> front{};
  const std::uint64_t end = sample.offset + sample.size;
  for (std::uint64_t at = sample.offset; end - at > lengthSize;) {
    source.read(at, std::span(front).first(lengthSize + 1));
    const unsigned type = std::to_integer<unsigned>(front[lengthSize]) & 0x1FU;
    if (type == kSequenceParameterSet) return true;
    if (type >= 1 && type <= kLastSlice) return false;
    const std::uint64_t size = lengthSize + qvs::util::loadBigEndian(front.data(), lengthSize);
    // A length beyond the sample: what follows cannot be found.
    if (size > end - at) return false;
    at += size;
  }
  return false;
}

/// One `traf` (ISO/IEC 14496-12, 8.8.6) of the view. `tfhd` is a view of the stored box.
struct PlainTraf {
  std::span<const std::byte> tfhd;
  std::uint64_t decodeTime = 0;
  std::vector<TrackRun> runs;

  void write(ByteWriter& out) const {
    const BoxScope traf(out, "traf"_4cc);
    out.bytes(tfhd);
    {
      // Always version 1, with 64 bits.
      const BoxScope tfdt(out, "tfdt"_4cc, 1, 0);
      out.u64(decodeTime);
    }
    for (const TrackRun& run : runs) run.write(out);
  }
};

/// Makes one plain fragment. Its order matters: the samples grow first, then the offsets can be computed, and only then
/// the boxes be written.
class FragmentMaker {
 public:
  FragmentMaker(Source& source, const Movie& movie, const Fragment& fragment, const PlainPlace& place)
      : source_(source), movie_(movie), fragment_(fragment), place_(place) {}

  PlainFragment make() {
    const auto moof = loadPayload(source_, fragment_.boxes.moof);
    ByteReader in(moof);
    while (in.remaining() > 0) {
      const BoxView box = qvs::util::nextBox(in);
      if (box.type == "traf"_4cc) takeTraf(box.payload);
    }
    // The runs of a fragment need not be in the order of their bytes.
    std::sort(insertions_.begin(), insertions_.end());
    const BoxSpan& mdat = fragment_.boxes.mdat;
    const std::uint64_t mdatSize =
        qvs::util::boxSizeFor(mdat.payloadSize() + insertions_.size() * plain_.inserted.size());
    moveOffsets(mdatSize);
    ByteWriter out;
    writeMoof(out);
    writeSizeAndType(out, "mdat"_4cc, mdatSize);
    plain_.boxes = out.take();
    cutSpans();
    return std::move(plain_);
  }

 private:
  /// Adds a stored `traf`, if its track is in the view.
  void takeTraf(ByteReader traf) {
    PlainTraf plain;
    SampleDefaults defaults;
    const TrackFragment* stored = nullptr;
    const Track* track = nullptr;
    while (traf.remaining() > 0) {
      ByteReader rest = traf;
      const std::size_t start = traf.position();
      const BoxView box = qvs::util::nextBox(traf);
      if (box.type == "tfhd"_4cc) {
        plain.tfhd = rest.bytes(traf.position() - start);
        const std::uint32_t id = readTfhd(box.payload, defaults);
        track = presentedTrack(movie_, id);
        if (track == nullptr) return;
        stored = samplesOf(id);
      }
      if (box.type == "trun"_4cc) plain.runs.emplace_back(box.payload, defaults);
    }
    if (stored == nullptr || stored->samples.empty()) return;
    plain.decodeTime = shiftedTime(stored->decodeTime, place_.shiftMs, track->timescale);
    setLastDuration(plain, stored->trackId);
    insertParameterSets(plain, *stored, *track);
    trafs_.push_back(std::move(plain));
  }

  /// Returns the track id, and sets the defaults that the box has.
  static std::uint32_t readTfhd(ByteReader tfhd, SampleDefaults& defaults) {
    const std::uint32_t flags = qvs::util::readVersionAndFlags(tfhd).flags;
    const std::uint32_t id = tfhd.u32();
    if ((flags & kTfhdDescriptionIndex) != 0) tfhd.skip(4);
    if ((flags & kTfhdDefaultDuration) != 0) defaults.duration = tfhd.u32();
    if ((flags & kTfhdDefaultSize) != 0) defaults.size = tfhd.u32();
    return id;
  }

  const TrackFragment* samplesOf(std::uint32_t trackId) const {
    const auto& tracks = fragment_.tracks;
    const auto found = std::find_if(tracks.begin(), tracks.end(),
                                    [trackId](const TrackFragment& part) { return part.trackId == trackId; });
    return found == tracks.end() ? nullptr : &*found;
  }

  /// Sets the duration of the last sample to that of its place.
  void setLastDuration(PlainTraf& plain, std::uint32_t trackId) const {
    const auto found = place_.lastDurations.find(trackId);
    if (found == place_.lastDurations.end()) return;
    TrackRun& run = plain.runs.back();
    run.setDuration(run.count() - 1, found->second);
  }

  /// Adds the parameter sets to the size of each key frame that has none, and notes where to insert them.
  void insertParameterSets(PlainTraf& plain, const TrackFragment& stored, const Track& track) {
    std::vector<std::byte> sets = parameterSets(track);
    if (sets.empty()) return;
    plain_.inserted = std::move(sets);
    const std::size_t lengthSize = nalLengthSize(track);
    std::size_t index = 0;
    for (TrackRun& run : plain.runs) {
      for (std::size_t i = 0; i < run.count(); ++i, ++index) {
        const StoredSample& sample = stored.samples.at(index);
        if (!sample.sync || beginsWithParameterSets(source_, sample, lengthSize)) continue;
        run.setSize(i, qvs::util::narrow<std::uint32_t>(sample.size + plain_.inserted.size()));
        insertions_.push_back(sample.offset);
      }
    }
  }

  /// Sets the data offsets of all runs: they count from the start of the new `moof`, and over the bytes inserted
  /// before.
  void moveOffsets(std::uint64_t mdatSize) {
    const FragmentBoxes& boxes = fragment_.boxes;
    // The size of the `moof` does not depend on the offsets in it, so one trial gives it.
    ByteWriter measured;
    writeMoof(measured);
    const std::uint64_t front = measured.size() + qvs::util::boxHeaderSize(mdatSize);
    for (PlainTraf& traf : trafs_) {
      for (TrackRun& run : traf.runs) {
        const std::uint64_t inFile = boxes.moof.offset + static_cast<std::uint64_t>(run.dataOffset());
        // A parameter set that is inserted at the run's own first sample belongs to that sample, so it is not counted.
        const auto before = std::lower_bound(insertions_.begin(), insertions_.end(), inFile) - insertions_.begin();
        const std::uint64_t grown = static_cast<std::uint64_t>(before) * plain_.inserted.size();
        run.setDataOffset(static_cast<std::int64_t>(front + (inFile - boxes.mdat.payloadOffset()) + grown));
      }
    }
  }

  void writeMoof(ByteWriter& out) const {
    const BoxScope moof(out, "moof"_4cc);
    {
      const BoxScope mfhd(out, "mfhd"_4cc, 0, 0);
      out.u32(place_.sequenceNumber);
    }
    for (const PlainTraf& traf : trafs_) traf.write(out);
  }

  void cutSpans() {
    const BoxSpan& mdat = fragment_.boxes.mdat;
    std::uint64_t from = mdat.payloadOffset();
    for (const std::uint64_t place : insertions_) {
      plain_.spans.push_back({.offset = from, .size = place - from});
      from = place;
    }
    plain_.spans.push_back({.offset = from, .size = mdat.end() - from});
  }

  Source& source_;
  const Movie& movie_;
  const Fragment& fragment_;
  const PlainPlace& place_;
  PlainFragment plain_;
  std::vector<PlainTraf> trafs_;
  /// Offsets in the segment file before which the parameter sets are inserted. Sorted once all tracks are read.
  std::vector<std::uint64_t> insertions_;
};

}  // namespace

std::uint64_t PlainFragment::size() const {
  std::uint64_t size = boxes.size() + inserted.size() * (spans.size() - 1);
  for (const Span& span : spans) size += span.size;
  return size;
}

bool hasPlainSamples(const Fragment& fragment, const Movie& movie) {
  return std::any_of(fragment.tracks.begin(), fragment.tracks.end(), [&movie](const TrackFragment& part) {
    return presentedTrack(movie, part.trackId) != nullptr && !part.samples.empty();
  });
}

PlainFragment makePlainFragment(Source& source, const Movie& movie, const Fragment& fragment, const PlainPlace& place) {
  return FragmentMaker(source, movie, fragment, place).make();
}

}  // namespace host
