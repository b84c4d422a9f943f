#include "host/plain/PlainView.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/files/RecordedSegments.h"
#include "host/files/inFile.h"
#include "host/output.h"
#include "host/plain/plainHeader.h"
#include "host/plain/playlistLines.h"

namespace host {
namespace {

/// Passes a span of a file to `take` in pieces of at most FileView::kWindow, so that memory does not grow with it.
void readSpan(FileView& file, const PlainFragment::Span& span, const PlainView::Take& take) {
  for (std::uint64_t done = 0; done < span.size;) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(span.size - done, FileView::kWindow));
    take(file.view(span.offset + done, count));
    done += count;
  }
}

}  // namespace

PlainView::PlainView(RecordingDirectory directory)
    : directory_(std::move(directory)), timeline_(readRecordedTimeline(directory_)) {
  placeFragments();
  makeHeaders();
}

void PlainView::placeFragments() {
  std::uint64_t nextMs = 0;
  for (const TimedFragment& fragment : timeline_.fragments) {
    places_.push_back({.startMs = nextMs, .header = {}});
    nextMs += fragment.durationMs;
  }
}

void PlainView::makeHeaders() {
  std::map<std::uint32_t, std::string> names;
  for (const TimedSegment& segment : timeline_.segments) {
    const std::string path = directory_.pathOf(directory_.segmentName(segment.number));
    inSegment(path, [&] {
      FileView file(path);
      auto header = readPlainHeader(file, segment.headerSize);
      const std::string name = plainHeaderName(header);
      names.emplace(segment.number, name);
      headers_.emplace(name, std::move(header));
    });
  }
  for (std::size_t i = 0; i < places_.size(); ++i) places_[i].header = names.at(timeline_.fragments[i].segment);
}

std::string PlainView::fragmentName(std::size_t fragment) const {
  return fmt::format("{}-{}.m4s", timeline_.fragments.at(fragment).number, places_.at(fragment).startMs);
}

std::int64_t PlainView::shiftMs(std::size_t fragment) const {
  return shiftTo(places_[fragment].startMs, timeline_.fragments[fragment]);
}

PlainPlace PlainView::plainPlace(std::size_t fragment) const {
  PlainPlace place{
      .sequenceNumber = static_cast<std::uint32_t>(fragment + 1), .shiftMs = shiftMs(fragment), .lastDurations = {}};
  if (fragment + 1 < timeline_.fragments.size()) {
    place.lastDurations = durationsUntil(timeline_.fragments[fragment], place.shiftMs,
                                         timeline_.fragments[fragment + 1], shiftMs(fragment + 1));
  }
  return place;
}

void PlainView::readFragment(std::size_t fragment, const Take& take) const {
  const TimedFragment& timed = timeline_.fragments.at(fragment);
  const std::string path = directory_.pathOf(directory_.segmentName(timed.segment));
  inSegment(path, [&] {
    OpenSegment open(path);
    const auto stored = open.reader().readFragment(timed.boxes.position());
    const PlainFragment plain = makePlainFragment(open.file(), open.reader().movie(), stored, plainPlace(fragment));
    take(plain.boxes);
    for (std::size_t i = 0; i < plain.spans.size(); ++i) {
      if (i > 0) take(plain.inserted);
      readSpan(open.file(), plain.spans[i], take);
    }
  });
}

std::string PlainView::wallTime(std::size_t fragment) const {
  const auto startMs =
      static_cast<std::int64_t>(timeline_.fragments[fragment].startMs - timeline_.fragments.front().startMs);
  return utcText(recordedSinceMs(timeline_).value_or(0) + startMs);
}

std::string PlainView::playlist() const {
  std::string text = playlistHead(timeline_);
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const TimedFragment& fragment = timeline_.fragments[i];
    if (i == 0 || places_[i].header != places_[i - 1].header) {
      // Required by RFC 8216, 4.3.2.3, if the encoding changes. A gap alone needs none, because the times have none.
      if (i > 0) text += "#EXT-X-DISCONTINUITY\n";
      text += fmt::format("#EXT-X-MAP:URI=\"{}\"\n", places_[i].header);
    }
    // Once for each stretch without gaps: players compute the times of the other fragments from it.
    if (i == 0 || fragment.followsGap) text += fmt::format("#EXT-X-PROGRAM-DATE-TIME:{}\n", wallTime(i));
    text += playlistDuration(fragment.durationMs) + fragmentName(i) + "\n";
  }
  return text + playlistEnd(timeline_);
}

}  // namespace host
