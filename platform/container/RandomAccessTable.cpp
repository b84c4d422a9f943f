#include "platform/container/RandomAccessTable.h"

#include <algorithm>

#include "util/box.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::BoxScope;
using qvs::util::ByteWriter;
using qvs::util::narrow;

/// Decode time and composition offset; what would be before the start is at it.
std::uint64_t presentationTime(std::uint64_t decodeTime, std::int64_t compositionOffset) {
  if (compositionOffset >= 0) return decodeTime + static_cast<std::uint64_t>(compositionOffset);
  return decodeTime - std::min(decodeTime, static_cast<std::uint64_t>(-compositionOffset));
}

/// The place of the run that begins with the first sync sample; the number of runs where there is none. In a track
/// other than video every sample is one.
std::size_t firstSyncRun(const TrafPlan& traf) {
  const auto run = std::find_if(traf.runs.begin(), traf.runs.end(), [&traf](const RunPlan& candidate) {
    return !traf.track->isVideo() || traf.samples[candidate.first].sync;
  });
  return static_cast<std::size_t>(run - traf.runs.begin());
}

void writeTfra(ByteWriter& out, std::uint32_t trackId, const std::vector<RandomAccessTable::Entry>& entries) {
  const auto ofTrack = [trackId](const RandomAccessTable::Entry& entry) { return entry.trackId == trackId; };
  BoxScope tfra(out, "tfra"_4cc, 1, 0);
  out.u32(trackId);
  out.u32(RandomAccessTable::kNumberWidths);
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

void RandomAccessTable::addFragment(const FragmentPlan& plan, std::uint64_t moofOffset) {
  for (std::size_t i = 0; i < plan.trafs().size(); ++i) {
    const TrafPlan& traf = plan.trafs()[i];
    const std::size_t run = firstSyncRun(traf);
    if (traf.track->isHint() || run == traf.runs.size()) continue;
    const Sample& sample = traf.samples[traf.runs[run].first];
    add({.trackId = traf.track->id,
         .time = presentationTime(sample.time, sample.compositionOffset),
         .moofOffset = moofOffset,
         .trafNumber = narrow<std::uint32_t>(i + 1),
         .trunNumber = narrow<std::uint32_t>(run + 1),
         .sampleNumber = 1});
  }
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
    if (!track->isHint()) writeTfra(out, track->id, entries_);
  }
  BoxScope mfro(out, "mfro"_4cc, 0, 0);
  out.u32(narrow<std::uint32_t>(out.size() + 4 - start));
}

}  // namespace krvo::container
