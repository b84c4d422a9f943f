#include "platform/container/FragmentPlan.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <stdexcept>

#include "platform/container/reading/boxes.h"
#include "platform/container/reading/fragmentFlags.h"
#include "platform/container/retention.h"
#include "util/box.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::narrow;

constexpr std::uint64_t kBoxHeader = 8;
constexpr std::uint64_t kFullBoxHeader = 12;
constexpr std::uint64_t kAfraFixedFields = 9;
constexpr std::uint64_t kMfhdSize = kFullBoxHeader + 4;
constexpr std::uint64_t kTfdtSize = kFullBoxHeader + 8;
constexpr std::uint32_t kTfhdOptionalFields =
    kTfhdDescriptionIndex | kTfhdDefaultDuration | kTfhdDefaultSize | kTfhdDefaultFlags;
constexpr std::uint32_t kTrunOptionalFields = kTrunDataOffset | kTrunFirstSampleFlags;

/// Refuses a box that our own reader would refuse (kMaxLoadedBox): such a segment could be neither read nor continued.
std::uint32_t loadedBoxSize(std::uint64_t size) {
  if (size > kMaxLoadedBox) throw std::out_of_range("a box is too large to be read back");
  return static_cast<std::uint32_t>(size);
}

std::uint64_t fieldBytes(std::uint32_t flags, std::uint32_t fields) {
  return 4 * static_cast<std::uint64_t>(std::popcount(flags & fields));
}

/// The value that more than half of `count` samples have, found in one pass and without memory by pairing off samples
/// with different values. If no value has that majority, any of them: the file is only some bytes larger.
template <typename Value>
std::uint32_t majority(std::size_t count, const Value& value) {
  std::uint32_t candidate = 0;
  std::size_t votes = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t next = value(i);
    if (votes == 0) candidate = next;
    votes = next == candidate ? votes + 1 : votes - 1;
  }
  return candidate;
}

/// The place of the run that begins with the first sync sample; the number of runs if there is none. In a track other
/// than video every sample is a sync sample.
std::size_t firstSyncRun(const TrafPlan& traf) {
  const auto run = std::find_if(traf.runs.begin(), traf.runs.end(), [&traf](const RunPlan& candidate) {
    return !traf.track->isVideo() || traf.samples[candidate.first].sync;
  });
  return static_cast<std::size_t>(run - traf.runs.begin());
}

/// A `trun` gives only the offset of its first sample, so samples of other tracks between two samples end it. In video
/// a sync sample starts a new one, since only the flags of the first sample are written.
bool startsRun(const TrafPlan& traf, std::size_t index) {
  const Sample& sample = traf.samples[index];
  const Sample& before = traf.samples[index - 1];
  return before.offset + before.size != sample.offset || (traf.track->isVideo() && sample.sync);
}

}  // namespace

std::uint64_t RunPlan::size() const {
  return kFullBoxHeader + 4 + fieldBytes(flags, kTrunOptionalFields) + count * fieldBytes(flags, kTrunSampleFields);
}

std::uint32_t TrafPlan::duration(std::size_t sample) const {
  const std::size_t last = samples.size() - 1;
  if (last == 0) return loneDuration();
  const std::size_t from = sample == last ? last - 1 : sample;  // the sample after the last one is not known yet
  if (samples[from + 1].time < samples[from].time) return 0;
  return narrow<std::uint32_t>(samples[from + 1].time - samples[from].time);
}

std::uint32_t TrafPlan::loneDuration() const {
  const std::uint64_t time = samples.front().time;
  if (!timeBefore || time <= *timeBefore) return 0;
  // A duration that does not fit its field must not fail the fragment: it is a guess, and the `tfdt` of the next
  // fragment sets the time right.
  const std::uint64_t distance = time - *timeBefore;
  return distance <= std::numeric_limits<std::uint32_t>::max() ? static_cast<std::uint32_t>(distance) : 0;
}

std::uint64_t TrafPlan::size() const {
  std::uint64_t size = kBoxHeader + kFullBoxHeader + 4 + fieldBytes(tfhdFlags, kTfhdOptionalFields) + kTfdtSize;
  for (const RunPlan& run : runs) size += run.size();
  return size;
}

void FragmentPlan::make(const OpenFragment& fragment, const Movie& movie, const LastTimes& before) {
  clear();
  std::size_t sampleCount = 0;
  for (std::size_t i = 0; i < movie.tracks.size(); ++i) sampleCount += fragment.samplesOf(i).size();
  // The largest possible number, so that the list never moves: each `traf` has a view of its runs in it.
  runs_.reserve(sampleCount);
  for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
    if (fragment.samplesOf(i).empty()) continue;
    planTrack(*movie.tracks[i], fragment.samplesOf(i), i < before.size() ? before[i] : std::nullopt);
  }

  std::uint64_t moofSize = kBoxHeader + kMfhdSize;
  for (const TrafPlan& traf : trafs_) moofSize += traf.size();
  moofSize_ = loadedBoxSize(moofSize);
  afraSize_ = loadedBoxSize(kFullBoxHeader + kAfraFixedFields + fragment.accessPoints().size() * kAfraEntrySize);
  abstSize_ = loadedBoxSize(kFullBoxHeader + fragment.abst().size());
  tagBytes_ = fragment.bytes();
  mdatSize_ = qvs::util::boxSizeFor(tagBytes_);
}

void FragmentPlan::clear() noexcept {
  releaseMemory(trafs_);
  releaseMemory(runs_);
}

void FragmentPlan::planTrack(const Track& track, std::span<const Sample> samples,
                             std::optional<std::uint64_t> timeBefore) {
  TrafPlan traf;
  traf.timeBefore = timeBefore;
  traf.track = &track;
  traf.samples = samples;
  // What most samples have is written once, in the `tfhd`: that keeps the boxes of a recording with only audio below 15
  // %.
  traf.defaultDuration = majority(samples.size(), [&traf](std::size_t i) { return traf.duration(i); });
  traf.defaultSize = majority(samples.size(), [samples](std::size_t i) { return samples[i].size; });
  // Offsets count from the `moof`, so that a fragment can be moved to another place in a file.
  traf.tfhdFlags = kTfhdDefaultBaseIsMoof | kTfhdDefaultFlags;
  if (track.selectedDescription != 1) traf.tfhdFlags |= kTfhdDescriptionIndex;

  const std::size_t firstRun = runs_.size();
  for (std::size_t first = 0; first < samples.size(); first += runs_.back().count) {
    runs_.push_back(planRun(traf, first));
    if ((runs_.back().flags & kTrunDurations) == 0) traf.tfhdFlags |= kTfhdDefaultDuration;
    if ((runs_.back().flags & kTrunSizes) == 0) traf.tfhdFlags |= kTfhdDefaultSize;
  }
  traf.runs = std::span(runs_).subspan(firstRun);
  trafs_.push_back(traf);
}

RunPlan FragmentPlan::planRun(const TrafPlan& traf, std::size_t first) const {
  RunPlan run{.first = first, .flags = kTrunDataOffset};
  if (traf.track->isVideo() && traf.samples[first].sync) run.flags |= kTrunFirstSampleFlags;
  std::size_t end = first;
  do {
    const Sample& sample = traf.samples[end];
    if (traf.duration(end) != traf.defaultDuration) run.flags |= kTrunDurations;
    if (sample.size != traf.defaultSize) run.flags |= kTrunSizes;
    if (sample.compositionOffset != 0) run.flags |= kTrunCompositionOffsets;
  } while (++end < traf.samples.size() && !startsRun(traf, end));
  run.count = end - first;
  return run;
}

void FragmentPlan::addEntries(RandomAccessTable& table, std::uint64_t moofOffset) const {
  for (std::size_t i = 0; i < trafs_.size(); ++i) {
    const TrafPlan& traf = trafs_[i];
    const std::size_t run = firstSyncRun(traf);
    if (traf.track->isHint() || run == traf.runs.size()) continue;
    const Sample& sample = traf.samples[traf.runs[run].first];
    table.add({.trackId = traf.track->id,
               .time = presentationTime(sample.time, sample.compositionOffset),
               .moofOffset = moofOffset,
               .trafNumber = narrow<std::uint32_t>(i + 1),
               .trunNumber = narrow<std::uint32_t>(run + 1),
               .sampleNumber = 1});
  }
}

}  // namespace krvo::container
