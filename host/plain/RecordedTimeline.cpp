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

/// Duration of a single sample that nothing precedes and nothing follows. Players give up on a duration of 0.
constexpr std::uint64_t kUnknownDurationMs = 1000;

/// Builds a RecordedTimeline, fragment by fragment.
class TimelineReader {
 public:
  /// With a visitor it reads what can be read; without one all of it or nothing.
  TimelineReader(const RecordingDirectory& directory, TimelineVisitor* visitor, RecordedTimeline before = {})
      : directory_(directory), visitor_(visitor), timeline_(std::move(before)) {
    if (!timeline_.fragments.empty()) known_ = timeline_.fragments.back();
  }

  RecordedTimeline read() {
    const RecordedContent content = readContent();
    for (const RecordedSegment& segment : content.segments) tolerate([&] { addSegment(segment); });
    finishLast();
    timeline_.ended = content.stopped;
    return std::move(timeline_);
  }

 private:
  RecordedContent readContent() {
    if (visitor_ == nullptr) return readRecordedContent(directory_, known_.segment);
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
    if (segment.fragments.back().fragment <= known_.number) return;
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
        if (entry.fragment <= known_.number) continue;
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
    TimedFragment timed{.segment = segment, .number = number, .boxes = fragment.boxes, .tracks = {}};
    measure(fragment, movie, timed);
    // Its time belongs to the fragment before it, which lasts until the next one.
    if (timed.tracks.empty()) return;
    // Only now, so that the time line has no segment without fragments, and each segment whose end is damaged.
    if (timeline_.segments.empty() || timeline_.segments.back().number != segment) {
      timeline_.segments.push_back({.number = segment, .movie = movie, .headerSize = reader.firstFragment()});
    }
    if (!timeline_.fragments.empty()) endBefore(timed);
    timeline_.fragments.push_back(std::move(timed));
  }

  /// Sets the times of the fragment, and its tracks: none if it has no samples in the view.
  static void measure(const Fragment& fragment, const Movie& movie, TimedFragment& timed) {
    std::uint64_t endMs = 0;
    for (const TrackFragment& part : fragment.tracks) {
      const auto track = std::find_if(movie.tracks.begin(), movie.tracks.end(),
                                      [&part](const auto& known) { return known->id == part.trackId; });
      if (track == movie.tracks.end() || !isInPlainView(**track) || part.samples.empty()) continue;
      const StoredSample& last = part.samples.back();
      const std::uint64_t start = inMilliseconds(part.samples.front().decodeTime, (*track)->timescale);
      const std::uint64_t end = inMilliseconds(last.decodeTime + last.duration, (*track)->timescale);
      timed.startMs = timed.tracks.empty() ? start : std::min(timed.startMs, start);
      // A damaged time may wrap; nothing ends before it begins.
      endMs = std::max({endMs, end, start});
      timed.lastSampleMs = std::max(timed.lastSampleMs, inMilliseconds(last.duration, (*track)->timescale));
      timed.tracks.push_back({.id = part.trackId,
                              .timescale = (*track)->timescale,
                              .firstDecodeTime = part.samples.front().decodeTime,
                              .lastDecodeTime = last.decodeTime,
                              .lastDuration = last.duration});
    }
    timed.ownMs = endMs - timed.startMs;
  }

  /// Ends the last fragment, which `next` follows. It lasts until `next` begins, unless there is a gap. There is none
  /// if a picture is missing while sound continues, nor if the stream has few pictures and the next one is not away for
  /// longer than the last one was shown. The duration of a single first sample is unknown, so it lasts until the next
  /// one.
  void endBefore(TimedFragment& next) {
    TimedFragment& before = timeline_.fragments.back();
    const std::uint64_t tolerance = std::max(kSmallestGapMs, before.lastSampleMs);
    const bool unknown = before.lastSampleMs == 0;
    // Times that do not rise come from a clock that was set back, and are a gap as well.
    next.followsGap = next.startMs <= before.startMs || (!unknown && next.startMs > before.ownEndMs() + tolerance);
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
    if (timeline_.fragments.empty()) return;
    TimedFragment& last = timeline_.fragments.back();
    last.durationMs = last.ownMs != 0 ? last.ownMs : kUnknownDurationMs;
  }

  const RecordingDirectory& directory_;
  TimelineVisitor* visitor_;
  RecordedTimeline timeline_;
  /// The last fragment that was read before; number 0 if there is none.
  TimedFragment known_;
};

}  // namespace

std::uint64_t inMilliseconds(std::uint64_t time, std::uint32_t timescale) {
  constexpr std::uint64_t kMillisecondsASecond = 1000;
  const std::uint64_t scale = std::max(timescale, 1U);
  // Divides first, so that no product exceeds 64 bits.
  return time / scale * kMillisecondsASecond + time % scale * kMillisecondsASecond / scale;
}

const TimedSegment& RecordedTimeline::segment(std::uint32_t number) const {
  return *std::find_if(segments.begin(), segments.end(), [number](const auto& item) { return item.number == number; });
}

RecordedTimeline readRecordedTimeline(const RecordingDirectory& directory) {
  return TimelineReader(directory, nullptr).read();
}

RecordedTimeline extendRecordedTimeline(const RecordingDirectory& directory, const RecordedTimeline& before) {
  return TimelineReader(directory, nullptr, before).read();
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
