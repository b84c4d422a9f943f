#include "host/plain/RecordedTimeline.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/errors.h"
#include "host/files/RecordedSegments.h"
#include "host/files/inFile.h"
#include "host/files/tracks.h"
#include "host/plain/plainHeader.h"

namespace host {

using namespace krvo::container;

namespace {

/// Fragments that follow each other may be this far apart, because of encoders and rounding to milliseconds.
constexpr std::uint64_t kSmallestGapMs = 500;
/// Duration of a single sample that nothing precedes and nothing follows. Players give up on a duration of 0.
constexpr std::uint64_t kUnknownDurationMs = 1000;

/// Divides first, so that no product exceeds 64 bits.
std::uint64_t inMilliseconds(std::uint64_t time, const Track& track) {
  constexpr std::uint64_t kMillisecondsASecond = 1000;
  const std::uint64_t scale = std::max(track.timescale, 1U);
  return time / scale * kMillisecondsASecond + time % scale * kMillisecondsASecond / scale;
}

/// The span of time of the samples of all tracks.
struct Extent {
  std::uint64_t startMs = 0;
  std::uint64_t endMs = 0;
  /// Duration of the last samples; of several tracks the longest.
  std::uint64_t lastSampleMs = 0;
};

/// Builds a RecordedTimeline, fragment by fragment.
class TimelineReader {
 public:
  /// With a visitor it reads what can be read; without one all of it or nothing.
  TimelineReader(const RecordingDirectory& directory, TimelineVisitor* visitor)
      : directory_(directory), visitor_(visitor) {}

  RecordedTimeline read() {
    const RecordedContent content = readContent();
    for (const RecordedSegment& segment : content.segments) tolerate([&] { addSegment(segment); });
    finishLast();
    timeline_.ended = content.stopped;
    return std::move(timeline_);
  }

 private:
  RecordedContent readContent() {
    if (visitor_ == nullptr) return readRecordedContent(directory_);
    std::vector<std::string> faults;
    RecordedContent content = readRecordedContent(directory_, faults);
    for (const std::string& fault : faults) visitor_->fault(fault);
    return content;
  }

  template <typename Read>
  void tolerate(const Read& read) try {
    read();
  } catch (const CommandError& error) {
    if (visitor_ == nullptr) throw;
    visitor_->fault(error.what());
  }

  void addSegment(const RecordedSegment& segment) {
    // Little is read of each fragment, and far apart: a larger window would read most of the file.
    constexpr std::size_t kWindow = std::size_t{16} << 10;
    const std::string path = directory_.pathOf(directory_.segmentName(segment.number));
    inFile(path, [&] {
      OpenSegment open(path, kWindow);
      SegmentReader& reader = open.reader();
      if (visitor_ != nullptr) {
        visitor_->segment(reader.movie());
      } else if (hasProtectedTrack(reader.movie())) {
        throw CommandError(fmt::format("'{}' is protected; k2r unprotect makes a clear recording", path));
      }
      for (const auto& entry : segment.fragments) {
        tolerate([&] {
          const Fragment fragment = inFile(path, [&] { return reader.readFragment(entry.afraOffset); });
          addFragment(segment.number, entry.fragment, fragment, reader);
        });
      }
    });
  }

  void addFragment(std::uint32_t segment, std::uint32_t number, const Fragment& fragment, SegmentReader& reader) {
    const Movie& movie = reader.movie();
    if (visitor_ != nullptr) visitor_->fragment(movie, fragment);
    TimedFragment timed{.segment = segment, .number = number, .boxes = fragment.boxes, .firstDecodeTimes = {}};
    const auto extent = measure(fragment, movie, timed);
    // Its time belongs to the fragment before it, which lasts until the next one.
    if (!extent) return;
    // Only now, so that the time line has no segment without fragments, and each segment whose end is damaged.
    if (timeline_.segments.empty() || timeline_.segments.back().number != segment) {
      timeline_.segments.push_back({.number = segment, .movie = movie, .headerSize = reader.firstFragment()});
    }
    timed.startMs = extent->startMs;
    timed.ownMs = extent->endMs - extent->startMs;
    if (last_) endBefore(timed);
    timeline_.fragments.push_back(std::move(timed));
    last_ = extent;
  }

  /// The extent of the samples in the view; nothing if there are none. Also sets `timed.firstDecodeTimes`.
  static std::optional<Extent> measure(const Fragment& fragment, const Movie& movie, TimedFragment& timed) {
    std::optional<Extent> extent;
    for (const TrackFragment& part : fragment.tracks) {
      const auto track = std::find_if(movie.tracks.begin(), movie.tracks.end(),
                                      [&part](const auto& known) { return known->id == part.trackId; });
      if (track == movie.tracks.end() || !isInPlainView(**track) || part.samples.empty()) continue;
      timed.firstDecodeTimes.emplace(part.trackId, part.samples.front().decodeTime);
      const StoredSample& last = part.samples.back();
      const std::uint64_t start = inMilliseconds(part.samples.front().decodeTime, **track);
      const std::uint64_t end = inMilliseconds(last.decodeTime + last.duration, **track);
      if (!extent) extent = Extent{.startMs = start, .endMs = start};
      extent->startMs = std::min(extent->startMs, start);
      // A damaged time may wrap; nothing ends before it begins.
      extent->endMs = std::max({extent->endMs, end, start});
      extent->lastSampleMs = std::max(extent->lastSampleMs, inMilliseconds(last.duration, **track));
    }
    return extent;
  }

  /// Ends the last fragment, which `next` follows. It lasts until `next` begins, unless there is a gap. There is none
  /// if a picture is missing while sound continues, nor if the stream has few pictures and the next one is not away for
  /// longer than the last one was shown. The duration of a single first sample is unknown, so it lasts until the next
  /// one.
  void endBefore(TimedFragment& next) {
    TimedFragment& before = timeline_.fragments.back();
    const std::uint64_t tolerance = std::max(kSmallestGapMs, last_->lastSampleMs);
    const bool unknown = last_->lastSampleMs == 0;
    // Times that do not rise come from a clock that was set back, and are a gap as well.
    next.followsGap = next.startMs <= before.startMs || (!unknown && next.startMs > last_->endMs + tolerance);
    if (next.followsGap) {
      finishLast();
      const std::uint64_t endMs = before.startMs + before.durationMs;
      next.gapMs = next.startMs > endMs ? next.startMs - endMs : 0;
    } else {
      before.durationMs = next.startMs - before.startMs;
    }
  }

  /// Ends the last fragment with its own last sample.
  void finishLast() {
    if (!last_) return;
    TimedFragment& last = timeline_.fragments.back();
    last.durationMs = last.ownMs != 0 ? last.ownMs : kUnknownDurationMs;
  }

  const RecordingDirectory& directory_;
  TimelineVisitor* visitor_;
  RecordedTimeline timeline_;
  /// Extent of the last fragment.
  std::optional<Extent> last_;
};

}  // namespace

const TimedSegment& RecordedTimeline::segment(std::uint32_t number) const {
  return *std::find_if(segments.begin(), segments.end(), [number](const auto& item) { return item.number == number; });
}

RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory) {
  return TimelineReader(directory, nullptr).read();
}

RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory, TimelineVisitor& visitor) {
  return TimelineReader(directory, &visitor).read();
}

std::optional<std::int64_t> recordedSinceMs(const RecordedTimeline& timeline) {
  // Dates in boxes count from 1904 (ISO/IEC 14496-12, 8.2.2), in s.
  constexpr std::uint64_t kFrom1904To1970 = 2082844800;
  constexpr std::uint64_t kYear10000 = 255485145600;  // from 1904 on; a later date is damage
  if (timeline.fragments.empty()) return std::nullopt;
  const std::uint64_t created = timeline.segments.front().movie.created;
  if (created < kFrom1904To1970 || created >= kYear10000) return std::nullopt;
  const std::uint64_t begunMs = (created - kFrom1904To1970) * 1000;
  // The header is written when the first fragment is complete, so its date is that of the end of that fragment. Without
  // `durationMs`, which changes when the second fragment comes: what was once said of the beginning must not change.
  return static_cast<std::int64_t>(begunMs - std::min(begunMs, timeline.fragments.front().ownMs));
}

}  // namespace host
