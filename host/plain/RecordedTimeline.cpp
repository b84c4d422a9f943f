#include "host/plain/RecordedTimeline.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/errors.h"
#include "host/files/RecordedSegments.h"
#include "host/files/inFile.h"
#include "host/files/tracks.h"

namespace host {

using namespace krvo::container;

namespace {

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
    const auto extent = host::extentOf(fragment, movie);
    // Its time belongs to the fragment before it, which lasts until the next one.
    if (!extent) return;
    // Only now, so that the time line has no segment without fragments, and each segment whose end is damaged.
    if (timeline_.segments.empty() || timeline_.segments.back().number != segment) {
      timeline_.segments.push_back({.number = segment, .movie = movie, .headerSize = reader.firstFragment()});
    }
    TimedFragment timed{.segment = segment,
                        .number = number,
                        .boxes = fragment.boxes,
                        .startMs = extent->startMs,
                        .ownMs = extent->endMs - extent->startMs,
                        .lastSampleMs = extent->lastSampleMs,
                        .tracks = extent->tracks};
    if (!timeline_.fragments.empty()) endBefore(timed, *extent);
    timeline_.fragments.push_back(std::move(timed));
  }

  /// Ends the last fragment, which `next` follows. It lasts until `next` begins, unless there is a gap.
  void endBefore(TimedFragment& next, const FragmentExtent& nextExtent) {
    TimedFragment& before = timeline_.fragments.back();
    next.followsGap = extentOf(before).isGapBefore(nextExtent);
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
    last.durationMs = extentOf(last).shownUntilMs() - last.startMs;
  }

  /// Its end; that is enough for the questions of this class.
  static FragmentExtent extentOf(const TimedFragment& fragment) {
    return {.startMs = fragment.startMs, .endMs = fragment.ownEndMs(), .lastSampleMs = fragment.lastSampleMs};
  }

  const RecordingDirectory& directory_;
  TimelineVisitor* visitor_;
  RecordedTimeline timeline_;
  /// The last fragment that was read before; number 0 if there is none.
  TimedFragment known_;
};

}  // namespace

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
