#include "platform/container/reading/RandomAccessTable.h"

#include <algorithm>

#include "util/box.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::BoxScope;
using qvs::util::ByteReader;
using qvs::util::ByteWriter;
using qvs::util::MalformedInput;
using qvs::util::narrow;

/// In a `tfra`: each of the three numbers of an entry has four bytes.
constexpr std::uint32_t kNumberWidths = 0x3F;
constexpr std::uint64_t kTfraEntrySize = 28;

void readTfra(ByteReader& in, std::vector<RandomAccessTable::Entry>& entries) {
  demand(qvs::util::readVersionAndFlags(in).version == 1, "version 1 expected");
  const std::uint32_t trackId = in.u32();
  demand(in.u32() == kNumberWidths, "numbers of four bytes expected");
  const std::uint32_t count = in.u32();
  in.need(count * kTfraEntrySize);  // before memory is allocated for what the file claims
  entries.reserve(entries.size() + count);
  for (std::uint32_t i = 0; i < count; ++i) {
    RandomAccessTable::Entry entry;
    entry.trackId = trackId;
    entry.time = in.u64();
    entry.moofOffset = in.u64();
    entry.trafNumber = in.u32();
    entry.trunNumber = in.u32();
    entry.sampleNumber = in.u32();
    // dropFrom() and appends use this offset; 0 is a field that was never filled.
    if (entry.moofOffset == 0) throw MalformedInput("the offset of a `moof` expected");
    entries.push_back(entry);
  }
}

/// The `mfro` gives the size of the `mfra`, so that readers find it from the end of the file.
void readMfro(ByteReader& in, std::uint64_t mfraSize) {
  in.skip(4);
  demand(in.u32() == mfraSize, "the size of the `mfra` expected");
}

void writeTfra(ByteWriter& out, std::uint32_t trackId, const std::vector<RandomAccessTable::Entry>& entries) {
  const auto ofTrack = [trackId](const RandomAccessTable::Entry& entry) { return entry.trackId == trackId; };
  BoxScope tfra(out, "tfra"_4cc, 1, 0);
  out.u32(trackId);
  out.u32(kNumberWidths);
  out.u32(narrow<std::uint32_t>(std::count_if(entries.begin(), entries.end(), ofTrack)));
  for (const auto& entry : entries) {
    if (!ofTrack(entry)) continue;
    out.u64(entry.time);
    out.u64(entry.moofOffset);
    out.u32(entry.trafNumber);
    out.u32(entry.trunNumber);
    out.u32(entry.sampleNumber);
  }
}

}  // namespace

RandomAccessTable::RandomAccessTable(Source& source, const BoxSpan& box) {
  const auto payload = loadPayload(source, box);
  LoadedBox mfra = loadedBox(box, payload);
  bool hasMfro = false;
  forEachBox(mfra, [&](LoadedBox& inner) {
    readBox(inner, [&](ByteReader& in) {
      if (inner.type == "tfra"_4cc) readTfra(in, entries_);
      if (inner.type == "mfro"_4cc) readMfro(in, box.size);
    });
    hasMfro = inner.type == "mfro"_4cc;  // in the end: whether the last box is one
  });
  if (!hasMfro) throw SegmentError(box.offset, "`mfra` without `mfro` at its end");
  // The box lists one track after another. The table keeps the order of the file.
  std::stable_sort(entries_.begin(), entries_.end(),
                   [](const auto& a, const auto& b) { return a.moofOffset < b.moofOffset; });
}

void RandomAccessTable::addFragment(const Fragment& fragment, const Movie& movie) {
  const auto isHint = [&movie](std::uint32_t id) {
    return std::any_of(movie.tracks.begin(), movie.tracks.end(),
                       [id](const auto& track) { return track->id == id && track->isHint(); });
  };
  for (std::size_t i = 0; i < fragment.tracks.size(); ++i) {
    const auto& [trackId, offset, decodeTime, samples] = fragment.tracks[i];
    const auto sync = std::find_if(samples.begin(), samples.end(), [](const StoredSample& s) { return s.sync; });
    if (isHint(trackId) || sync == samples.end()) continue;
    // Samples are counted within their `trun`, so from the first one of that run.
    const auto run = std::find_if(samples.begin(), sync, [&sync](const StoredSample& s) { return s.run == sync->run; });
    add({.trackId = trackId,
         .time = presentationTime(sync->decodeTime, sync->compositionOffset),
         .moofOffset = fragment.boxes.moof.offset,
         .trafNumber = narrow<std::uint32_t>(i + 1),
         .trunNumber = sync->run,
         .sampleNumber = narrow<std::uint32_t>(sync - run + 1)});
  }
}

void RandomAccessTable::dropFrom(std::uint64_t offset) noexcept {
  while (!entries_.empty() && entries_.back().moofOffset >= offset) entries_.pop_back();
}

void RandomAccessTable::write(ByteWriter& out, const Movie& movie) const {
  const std::size_t start = out.size();
  BoxScope mfra(out, "mfra"_4cc);
  for (const auto& track : movie.tracks) {
    // Players enter media tracks; the hint track would double the table.
    if (!track->isHint()) writeTfra(out, track->id, entries_);
  }
  BoxScope mfro(out, "mfro"_4cc, 0, 0);
  out.u32(narrow<std::uint32_t>(out.size() + 4 - start));
}

// The field is unsigned, and the first picture of a stream with B-frames may be shown before its decode time.
std::uint64_t presentationTime(std::uint64_t decodeTime, std::int64_t compositionOffset) {
  if (compositionOffset >= 0) return decodeTime + static_cast<std::uint64_t>(compositionOffset);
  return decodeTime - std::min(decodeTime, static_cast<std::uint64_t>(-compositionOffset));
}

}  // namespace krvo::container
