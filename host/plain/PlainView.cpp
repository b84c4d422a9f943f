#include "host/plain/PlainView.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <utility>

#include "host/errors.h"
#include "host/files/inFile.h"
#include "host/output.h"
#include "host/plain/plainHeader.h"
#include "host/plain/playlistLines.h"

namespace host {
namespace {

/// The beginning of a SHA-256, long enough to give different headers different names. A hash and no number, so that a
/// player that caches by name never gets the header of another configuration.
std::string shortHash(std::span<const std::byte> bytes) {
  constexpr std::size_t kShown = 8;
  std::array<std::byte, EVP_MAX_MD_SIZE> digest{};
  if (EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()), nullptr, EVP_sha256(),
                 nullptr) != 1) {
    throw CommandError("no SHA-256 can be computed");
  }
  return hexText(std::span(digest).first(kShown));
}

/// Runs `read`. Turns exceptions about malformed boxes into a CommandError that names the segment.
template <typename Read>
auto inSegment(const std::string& path, const Read& read) {
  try {
    return inFile(path, read);
  } catch (const qvs::util::MalformedInput& error) {
    throw CommandError(fmt::format("'{}': {}", path, error.message()));
  } catch (const std::out_of_range& error) {
    throw CommandError(fmt::format("'{}': {}", path, error.what()));
  }
}

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
      std::vector<std::byte> stored(static_cast<std::size_t>(segment.headerSize));
      file.read(0, stored);
      auto header = plainHeader(stored);
      const std::string name = fmt::format("init-{}.mp4", shortHash(header));
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
  // May be negative: fragments of an append whose clock restarted can begin before those they follow.
  return static_cast<std::int64_t>(timeline_.fragments[fragment].startMs) -
         static_cast<std::int64_t>(places_[fragment].startMs);
}

PlainPlace PlainView::plainPlace(std::size_t fragment) const {
  PlainPlace place{.sequenceNumber = static_cast<std::uint32_t>(fragment + 1),
                   .shiftMs = shiftMs(fragment),
                   .nextDecodeTimes = {},
                   .nextShiftMs = 0};
  if (fragment + 1 < timeline_.fragments.size()) {
    place.nextDecodeTimes = timeline_.fragments[fragment + 1].firstDecodeTimes;
    place.nextShiftMs = shiftMs(fragment + 1);
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
    text += playlistDuration(fragment) + fragmentName(i) + "\n";
  }
  return text + playlistEnd(timeline_);
}

}  // namespace host
