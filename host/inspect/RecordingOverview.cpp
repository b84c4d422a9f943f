#include "host/inspect/RecordingOverview.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "host/DirectoryLock.h"
#include "host/errors.h"
#include "host/files/RecordedSegments.h"
#include "host/files/tracks.h"
#include "host/inspect/describeProtection.h"
#include "host/plain/RecordedTimeline.h"
#include "host/verify/quickLook.h"

namespace host {

using namespace krvo::container;
using qvs::util::toText;

namespace {

TrackOverview overviewOf(const Track& track) {
  TrackOverview overview;
  overview.id = track.id;
  overview.handler = toText(track.handler);
  // The codec inside the protection: `encv` would say nothing to a viewer.
  overview.format = toText(clearFormat(track));
  // Rates are divided by it.
  overview.timescale = std::max(track.timescale, 1U);
  if (track.descriptions.empty()) return overview;
  const auto& format = track.descriptions.front()->format;
  if (const auto* const video = std::get_if<VideoFormat>(&format)) {
    overview.width = video->width;
    overview.height = video->height;
  } else if (const auto* const audio = std::get_if<AudioFormat>(&format)) {
    overview.sampleRate = static_cast<std::uint32_t>(audio->sampleRate);
    overview.channels = audio->channels;
  }
  return overview;
}

/// Counts what the time line does not keep.
class OverviewVisitor final : public TimelineVisitor {
 public:
  explicit OverviewVisitor(RecordingOverview& overview) : overview_(overview) {}

  void segment(const Movie& movie) override {
    overview_.isProtected = overview_.isProtected || hasProtectedTrack(movie);
    // All segments have the same tracks.
    if (!overview_.tracks.empty()) return;
    for (const auto& track : movie.tracks) {
      // The hint track has every sample a second time.
      if (track->isHint()) continue;
      overview_.tracks.push_back(overviewOf(*track));
      if (isProtected(*track) && overview_.protection.is_null() && !track->descriptions.empty()) {
        overview_.protection = describeProtection(*track->descriptions.front());
      }
    }
  }

  void fragment(const Movie& /*movie*/, const Fragment& fragment) override {
    ++overview_.fragmentCount;
    for (const TrackFragment& part : fragment.tracks) {
      const auto track = std::ranges::find(overview_.tracks, part.trackId, &TrackOverview::id);
      // The hint track, and tracks that only a damaged segment has.
      if (track == overview_.tracks.end()) continue;
      track->samples += part.samples.size();
      for (const StoredSample& sample : part.samples) {
        track->bytes += sample.size;
        track->ticks += sample.duration;
      }
    }
  }

  void fault(const std::string& text) override {
    // A cut segment of a week has as many faults as fragments.
    constexpr std::size_t kMostKept = 10;
    if (overview_.faultCount++ < kMostKept) overview_.faults.push_back(text);
  }

 private:
  RecordingOverview& overview_;
};

/// The time line has durations and gaps only; sums of them give the places, which therefore never overlap.
void addStretches(const RecordedTimeline& timeline, RecordingOverview& overview) {
  std::uint64_t atMs = 0;
  for (const TimedFragment& fragment : timeline.fragments) {
    if (fragment.followsGap) overview.gaps.push_back({.startMs = atMs, .durationMs = fragment.gapMs});
    atMs += fragment.gapMs;
    overview.fragments.push_back({.startMs = atMs, .durationMs = fragment.durationMs});
    atMs += fragment.durationMs;
  }
  overview.lengthMs = atMs;
}

/// Before the first fragment is complete, and if no index can be read, the header of a segment has the tracks.
void readTracksAlone(const RecordingDirectory& directory, OverviewVisitor& visitor) {
  for (const std::uint32_t number : directory.segments) {
    try {
      visitor.segment(OpenSegment(directory.pathOf(directory.segmentName(number))).reader().movie());
      return;
    } catch (const std::exception&) {
      // The fault is reported by the fields of the file, or the segment has only just been begun.
    }
  }
}

/// The first damage only: `k2r verify` lists all, and takes as long as it needs for that.
std::string firstDamage(const RecordingDirectory& directory) {
  try {
    const auto found = quickLook(directory);
    if (!found) return "";
    const std::string place = found->offset ? fmt::format(" offset {}:", *found->offset) : "";
    return fmt::format("{}:{} {}", found->file, place, found->text);
  } catch (const CommandError& error) {
    return error.what();
  }
}

EndState stateOf(const RecordingDirectory& directory, const RecordedTimeline& timeline,
                 const RecordingOverview& overview) {
  // First, since a recorder that appends has not removed the end mark before its first fragment.
  if (!overview.writer.empty()) return EndState::kBeingWritten;
  if (timeline.ended) return EndState::kEnded;
  // The bootstrap is read first, so its fault is the first one.
  const std::string bootstrap = fmt::format("'{}'", directory.pathOf(directory.bootstrapName()));
  const bool isUnreadable = !overview.faults.empty() && overview.faults.front().starts_with(bootstrap);
  return isUnreadable ? EndState::kUnknown : EndState::kNotEnded;
}

std::optional<double> perSecond(double amount, std::uint64_t ticks, std::uint32_t timescale) {
  if (ticks == 0) return std::nullopt;
  return amount * timescale / static_cast<double>(ticks);
}

}  // namespace

std::optional<double> TrackOverview::frameRate() const {
  return perSecond(static_cast<double>(samples), ticks, timescale);
}

std::optional<double> TrackOverview::bitRate() const {
  constexpr double kBitsAByte = 8;
  return perSecond(static_cast<double>(bytes) * kBitsAByte, ticks, timescale);
}

std::uint64_t RecordingOverview::gapMs() const {
  return std::accumulate(gaps.begin(), gaps.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const TimedStretch& gap) { return sum + gap.durationMs; });
}

DurationRange durationRange(const std::vector<TimedStretch>& stretches) {
  if (stretches.empty()) return {};
  std::vector<std::uint64_t> durations;
  durations.reserve(stretches.size());
  for (const TimedStretch& stretch : stretches) durations.push_back(stretch.durationMs);
  std::ranges::sort(durations);
  return {.shortestMs = durations.front(),
          .medianMs = durations[(durations.size() - 1) / 2],
          .longestMs = durations.back()};
}

RecordingOverview readOverview(const RecordingDirectory& directory) {
  RecordingOverview overview;
  overview.path = directory.path;
  overview.hasBootstrap = directory.hasBootstrap;
  OverviewVisitor visitor(overview);
  const RecordedTimeline timeline = readRecordedTimeline(directory, visitor);
  if (overview.tracks.empty()) readTracksAlone(directory, visitor);
  addStretches(timeline, overview);
  overview.recordedSinceMs = recordedSinceMs(timeline);
  overview.bytes = sizeOfFiles(directory);
  overview.segments = directory.segments.size();
  // The segments may be unreadable while the protection file is there.
  overview.isProtected = overview.isProtected || directory.hasDrmMeta;
  // Without a bootstrap there may be nothing but the beginning of a recording, which is no damage.
  if (directory.hasBootstrap) overview.damage = firstDamage(directory);
  overview.writer = lockHolder(directory.path);
  overview.state = stateOf(directory, timeline, overview);
  return overview;
}

}  // namespace host
